// VLServiceConnection: an inter-process connection to a provider's service. Set its remote
// interface, resume it, then ask for a proxy.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "Core/VLError.h"
#include "Core/VLObject.h"
#include "Vaultline/VLRemoteObjectProxy.h"

class VLServiceConnection : public VLObject {
 public:
  // Names the protocol the other side is expected to speak.
  void setRemoteObjectInterface(const std::string& protocolName);
  std::string remoteObjectInterface() const;

  // Starts the connection; calls made before resume() fail.
  virtual void resume();
  // Ends the connection; later calls fail through the proxy's error handler.
  virtual void invalidate();
  // Returns a proxy without an error handler.
  virtual std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxy() = 0;
  // Returns a proxy whose failed calls go to `handler`.
  virtual std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(
      std::function<void(VLErrorRef)> handler) = 0;

 protected:
  // For platforms: returns why a call through this connection cannot be carried now (not
  // resumed, invalidated, or set to another interface than `protocolName`), or "" when it can.
  std::string problemCarryingCalls(const std::string& protocolName) const;

 private:
  mutable std::mutex mutex_;
  std::string remoteInterface_;  // guarded by mutex_
  bool resumed_ = false;         // guarded by mutex_
  bool invalidated_ = false;     // guarded by mutex_
};
