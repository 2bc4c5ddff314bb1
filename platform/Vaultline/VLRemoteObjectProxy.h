// VLRemoteObjectProxy: the local stand-in for a service object on the other side of a
// connection. Calls go across; if the connection fails, the error handler of the proxy
// (if it has one) is called instead of the reply.
#pragma once

#include <functional>
#include <memory>

#include "Core/VLError.h"
#include "Core/VLObject.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"

class VLRemoteObjectProxy : public VLObject, public KsVaultlineValidationServiceV1 {
 public:
  // Returns a proxy to the same object whose failed calls go to `handler`.
  virtual std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(
      std::function<void(VLErrorRef)> handler) = 0;
};
