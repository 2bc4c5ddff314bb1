// VLRemoteServiceConnection: a connection to the validation service of a provider in its own
// process, for the item its service token names, and the proxies it hands out.
//
// Calls through a proxy work only while the connection is resumed, not invalidated, and
// speaks KsVaultlineValidationServiceV1; otherwise they fail through the proxy's error
// handler (a proxy without one drops the call, as a real connection would). Each call is
// one "validation.*" request carrying the token. Thread-safe.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "Remote/VLRemoteSession.h"
#include "Vaultline/VLServiceConnection.h"

class VLRemoteServiceConnection : public VLServiceConnection,
                                  public std::enable_shared_from_this<VLRemoteServiceConnection> {
 public:
  static std::shared_ptr<VLRemoteServiceConnection> make(std::shared_ptr<VLRemoteSession> session, std::string token);

  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxy() override;
  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(
      std::function<void(VLErrorRef)> handler) override;

  // For proxies: sends `method` with the token if the connection can carry calls, and hands
  // the answer to `answered` on a background thread; otherwise reports the failure to
  // `handler` (if any), on a background thread.
  void call(const std::string& method, std::function<void(const VLRemoteSession::Answer&)> answered,
            const std::function<void(VLErrorRef)>& handler);

  const std::shared_ptr<VLRemoteSession>& session() const { return session_; }

 private:
  VLRemoteServiceConnection(std::shared_ptr<VLRemoteSession> session, std::string token)
      : session_(std::move(session)), token_(std::move(token)) {}

  const std::shared_ptr<VLRemoteSession> session_;
  const std::string token_;
};
