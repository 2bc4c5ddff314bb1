// VLRemoteSession: what every part of the remote platform shares about one provider session:
// the connection, the provider record and revision from the handshake, the codec, the
// time-outs, and the open collection subscriptions (one feed per scope, shared by every
// collection over it, and kept open a while after its last collection stops).
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
#include "Remote/VLRemoteFeed.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"
#include "Vaultline/VLProviderFacts.h"

class VLRemoteCollection;

class VLRemoteSession : public std::enable_shared_from_this<VLRemoteSession> {
 public:
  // The protocol version this host speaks.
  static constexpr int64_t kProtocolVersion = 1;

  // Seconds a provider has to answer "initialize" unless told otherwise.
  static constexpr double kDefaultHandshakeTimeout = 10.0;

  struct Options {
    double handshakeTimeout = kDefaultHandshakeTimeout;  // seconds for the answer to "initialize"
    double requestTimeout = 30.0;    // seconds for the answer to every other request
    // When set, every line of the session in both directions is recorded here.
    std::shared_ptr<VLRemoteProtocolLog> protocolLog;
    // Subscribes to the working set once the provider's validation properties say it has
    // one (see learnWorkingSet), and waits until the provider has enumerated it, so that a
    // big working set is ready before the first case and does not eat that case's time.
    bool watchWorkingSet = false;
    // A paged answer to collections.subscribe must end within the request time-out and
    // these bounds, or its subscription fails naming which one it passed.
    size_t maximumPages = 10'000;
    size_t maximumPagedMembers = 1'000'000;
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

  // How many feeds without a collection stay open for the next collection over their scope;
  // beyond it the one with the fewest members (the cheapest to enumerate again) is closed.
  static constexpr size_t kIdleFeeds = 8;

  // Attaches `collection` to the feed of `scope`, subscribing to the scope when no open feed
  // has it: the members and later changes reach the collection on the reader thread.
  std::pair<std::shared_ptr<VLRemoteFeed>, VLRemoteFeed::Attachment> subscribe(
      const std::shared_ptr<VLRemoteCollection>& collection, const nlohmann::json& scope);
  // Detaches a collection from its feed. A feed left without collections stays open (see
  // kIdleFeeds); changes that arrive for a closed one are ignored.
  void unsubscribe(const std::shared_ptr<VLRemoteFeed>& feed, uint64_t token);
  // For a feed that ended: it is offered to no later collection.
  void forgetFeed(uint64_t number);
  // The scope of the working set.
  static nlohmann::json workingSetScope() { return {{"kind", "workingSet"}}; }
  // From the answer to validation.allowValidation: whether the provider declared that it has
  // a working set. With watchWorkingSet and a working set, subscribes to it (once per
  // session) and waits up to half the request time-out for its enumeration; a provider
  // without one, or one that never said, is never asked for it here.
  void learnWorkingSet(bool hasWorkingSet);

  // Ends the session; every later request fails with VLProviderProtocolErrorClosed.
  void close();

  VLRemoteSession(const VLRemoteSession&) = delete;
  VLRemoteSession& operator=(const VLRemoteSession&) = delete;

 private:
  VLRemoteSession(std::shared_ptr<VLRemoteConnection> connection, Options options,
                  std::shared_ptr<VLProviderFacts> facts)
      : connection_(std::move(connection)), options_(options), facts_(std::move(facts)) {}
  void handshake();
  // Opens an idle feed over `scope` (no collection attached) and returns it (none when
  // one over the scope is open already).
  std::shared_ptr<VLRemoteFeed> watch(const nlohmann::json& scope);
  // Sends the subscription request of `feed`.
  void requestMembers(const std::shared_ptr<VLRemoteFeed>& feed, const nlohmann::json& scope);
  void readHandshake(const VLRemoteJSONReader& result);
  void handleNotification(const std::string& method, const VLRemoteJSONReader& params);
  void handleEnd(const VLErrorRef& reason);

  const std::shared_ptr<VLRemoteConnection> connection_;
  const Options options_;
  // Set once by the handshake, read-only afterwards.
  std::shared_ptr<VLProvider> provider_;
  std::unique_ptr<VLRemoteCodec> codec_;
  bool olderRevision_ = false;
  std::map<std::string, bool> deviceProperties_;

  struct Feed {
    std::shared_ptr<VLRemoteFeed> feed;
    std::string scope;       // its key in feedsByScope_
    uint64_t idleSince = 0;  // 0 while a collection is attached; else when the last one left
  };
  // Closes idle feeds beyond kIdleFeeds; returns the subscriptions to unsubscribe (caller holds mutex_).
  std::vector<uint64_t> trimIdleFeedsLocked();

  mutable std::mutex mutex_;
  std::map<uint64_t, Feed> feeds_;                  // guarded by mutex_: by subscription number
  std::map<std::string, uint64_t> feedsByScope_;    // guarded by mutex_: the scope's compact JSON
  uint64_t nextSubscription_ = 1;                   // guarded by mutex_
  uint64_t idleClock_ = 0;                          // guarded by mutex_
  bool workingSetWatched_ = false;                  // guarded by mutex_
  const std::shared_ptr<VLProviderFacts> facts_;
};
