// VLRemoteValidationProxy: the proxy of a remote provider's validation service, bound to the
// service token of its connection. Every call replies once, on a background thread, unless
// the connection cannot carry it (see VLRemoteServiceConnection). When the provider itself
// fails (gone, timed out, an invalid answer), the error goes to the proxy's error handler;
// a proxy without one passes it to an error reply, and drops validation_allowValidation,
// whose reply cannot carry an error. Immutable; thread-safe.
#pragma once

#include <functional>
#include <memory>

#include "Remote/VLRemoteServiceConnection.h"
#include "Vaultline/VLRemoteObjectProxy.h"

class VLRemoteValidationProxy : public VLRemoteObjectProxy {
 public:
  static std::shared_ptr<VLRemoteValidationProxy> make(std::shared_ptr<VLRemoteServiceConnection> connection,
                                                       std::function<void(VLErrorRef)> errorHandler);

  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(
      std::function<void(VLErrorRef)> handler) override;
  void validation_allowValidation(AllowReply reply) override;
  void validation_evictDocumentWithCompletionHandler(ErrorReply reply) override;
  void validation_shareDocumentWithCompletionHandler(ErrorReply reply) override;

 private:
  VLRemoteValidationProxy(std::shared_ptr<VLRemoteServiceConnection> connection,
                          std::function<void(VLErrorRef)> errorHandler)
      : connection_(std::move(connection)), errorHandler_(std::move(errorHandler)) {}
  void callWithErrorReply(const std::string& method, ErrorReply reply);

  const std::shared_ptr<VLRemoteServiceConnection> connection_;
  const std::function<void(VLErrorRef)> errorHandler_;
};
