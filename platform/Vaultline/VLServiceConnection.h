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
  virtual void resume() = 0;
  // Ends the connection; later calls fail through the proxy's error handler.
  virtual void invalidate() = 0;
  // Returns a proxy without an error handler.
  virtual std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxy() = 0;
  // Returns a proxy whose failed calls go to `handler`.
  virtual std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(
      std::function<void(VLErrorRef)> handler) = 0;

 private:
  mutable std::mutex mutex_;
  std::string remoteInterface_;  // guarded by mutex_
};
