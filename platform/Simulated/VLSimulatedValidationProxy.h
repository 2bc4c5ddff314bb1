// VLSimulatedValidationProxy: the proxy of the simulated provider's validation service,
// bound to the item its connection was made for. Every call replies once, on a background
// thread, unless the connection cannot carry it (see VLSimulatedServiceConnection).
// Immutable; thread-safe.
#pragma once

#include <functional>
#include <memory>

#include "Simulated/VLSimulatedServiceConnection.h"
#include "Vaultline/VLRemoteObjectProxy.h"

class VLSimulatedValidationProxy : public VLRemoteObjectProxy {
 public:
  static std::shared_ptr<VLSimulatedValidationProxy> make(std::shared_ptr<VLSimulatedServiceConnection> connection,
                                                          std::function<void(VLErrorRef)> errorHandler);

  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(
      std::function<void(VLErrorRef)> handler) override;

  // Replies whether validation is allowed, with the provider's options.
  void validation_allowValidation(AllowReply reply) override;
  // Evicts the local copy of this proxy's item.
  void validation_evictDocumentWithCompletionHandler(ErrorReply reply) override;
  // Marks this proxy's item shared.
  void validation_shareDocumentWithCompletionHandler(ErrorReply reply) override;

 private:
  VLSimulatedValidationProxy(std::shared_ptr<VLSimulatedServiceConnection> connection,
                             std::function<void(VLErrorRef)> errorHandler)
      : connection_(std::move(connection)), errorHandler_(std::move(errorHandler)) {}

  const std::shared_ptr<VLSimulatedServiceConnection> connection_;
  const std::function<void(VLErrorRef)> errorHandler_;
};
