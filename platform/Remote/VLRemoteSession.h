// VLRemoteSession: what every part of the remote platform shares about one provider session:
// the connection, the provider record and revision from the handshake, the codec, the
// time-outs, and the open collection subscriptions.
//
// open() performs the handshake and either returns a ready session or throws. Requests made
// through it complete on background threads, never inside the call and never on the
// connection's threads. Collection notifications reach their collections on the reader
// thread, in the order they arrived. Thread-safe; made by open(); close() ends it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Remote/VLRemoteCodec.h"
#include "Remote/VLRemoteConnection.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"
#include "Vaultline/VLProviderFacts.h"

class VLRemoteCollection;

class VLRemoteSession : public std::enable_shared_from_this<VLRemoteSession> {
 public:
  // The protocol version this host speaks.
  static constexpr int64_t kProtocolVersion = 1;

  struct Options {
    double handshakeTimeout = 10.0;  // seconds for the answer to "initialize"
    double requestTimeout = 30.0;    // seconds for the answer to every other request
    // When set, every line of the session in both directions is recorded here.
    std::shared_ptr<VLRemoteProtocolLog> protocolLog;
  };
  using Answer = VLRemoteConnection::Answer;

  // Starts the connection and greets the provider. Throws VLProviderProtocolException
  // (VLProviderProtocolErrorHandshakeFailed) with the reason when it does not answer in
  // time, answers with an error, speaks another version or describes itself invalidly.
  static std::shared_ptr<VLRemoteSession> open(std::unique_ptr<VLRemoteTransport> transport, Options options);

  const std::shared_ptr<VLProvider>& provider() const { return provider_; }
  // Where the session publishes protocol faults, the provider's standard error and its end.
  const std::shared_ptr<VLProviderFacts>& facts() const { return facts_; }
  const VLRemoteCodec& codec() const { return *codec_; }
  const Options& options() const { return options_; }
  const std::string& name() const { return connection_->name(); }
  // Whether the provider plays the older platform revision.
  bool isOlderRevision() const { return olderRevision_; }
  bool deviceBooleanProperty(const std::string& name) const;
  // Returns whether an item-ID provider part names this provider.
  bool isOwnProviderPart(const std::string& part) const;

  // Sends a request; `handler` runs once, on a background thread, with the answer.
  void request(const std::string& method, nlohmann::json params, std::function<void(const Answer& answer)> handler);
  // Sends a request and waits for its answer (bounded by the request time-out).
  Answer requestAndWait(const std::string& method, nlohmann::json params);

  // Subscribes `collection` to `scope`: its answer and later changes go to the collection on
  // the reader thread. Returns the subscription number.
  uint64_t subscribe(const std::shared_ptr<VLRemoteCollection>& collection, nlohmann::json scope);
  // Ends a subscription; changes that still arrive for it are ignored.
  void unsubscribe(uint64_t subscription);

  // Ends the session; every later request fails with VLProviderProtocolErrorClosed.
  void close();

  VLRemoteSession(const VLRemoteSession&) = delete;
  VLRemoteSession& operator=(const VLRemoteSession&) = delete;

 private:
  VLRemoteSession(std::shared_ptr<VLRemoteConnection> connection, Options options,
                  std::shared_ptr<VLProviderFacts> facts)
      : connection_(std::move(connection)), options_(options), facts_(std::move(facts)) {}
  void handshake();
  void readHandshake(const VLRemoteJSONReader& result);
  void handleNotification(const std::string& method, const nlohmann::json& params);
  void handleEnd(const VLErrorRef& reason);

  const std::shared_ptr<VLRemoteConnection> connection_;
  const Options options_;
  // Set once by the handshake, read-only afterwards.
  std::shared_ptr<VLProvider> provider_;
  std::unique_ptr<VLRemoteCodec> codec_;
  bool olderRevision_ = false;
  std::map<std::string, bool> deviceProperties_;

  mutable std::mutex mutex_;
  std::map<uint64_t, std::weak_ptr<VLRemoteCollection>> subscriptions_;  // guarded by mutex_
  uint64_t nextSubscription_ = 1;                                        // guarded by mutex_
  const std::shared_ptr<VLProviderFacts> facts_;
};
