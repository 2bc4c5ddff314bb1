#include "Simulated/VLSimulatedValidationProxy.h"

#include "Dispatch/VLBackgroundQueue.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"

std::shared_ptr<VLSimulatedValidationProxy> VLSimulatedValidationProxy::make(
    std::shared_ptr<VLSimulatedServiceConnection> connection, std::function<void(VLErrorRef)> errorHandler) {
  return std::shared_ptr<VLSimulatedValidationProxy>(
      new VLSimulatedValidationProxy(std::move(connection), std::move(errorHandler)));
}

std::shared_ptr<VLRemoteObjectProxy> VLSimulatedValidationProxy::remoteObjectProxyWithErrorHandler(
    std::function<void(VLErrorRef)> handler) {
  return make(connection_, std::move(handler));
}

void VLSimulatedValidationProxy::validation_allowValidation(AllowReply reply) {
  auto store = connection_->runner()->store();
  connection_->call(
      [store, reply = std::move(reply)] {
        const auto& settings = store->settings();
        VLValue::Dictionary options = {
            {KsVaultlineValidationOptionIsSyncingProvider, settings.syncing},
            {VLValidationOptionHasNoWorkingSet, !settings.workingSet},
        };
        if (store->alternateRootIdentifier()) {
          options[KsVaultlineValidationOptionAlternateRootContainer] = *store->alternateRootIdentifier();
        }
        bool allowed = settings.validationAllowed;
        VLBackgroundQueue::shared().async([reply, allowed, options] { reply(allowed, options); });
      },
      errorHandler_);
}

void VLSimulatedValidationProxy::validation_evictDocumentWithCompletionHandler(ErrorReply reply) {
  auto connection = connection_;
  connection_->call(
      [connection, reply = std::move(reply)] {
        VLErrorRef error = connection->runner()->evict(connection->itemIdentifier());
        VLBackgroundQueue::shared().async([reply, error] { reply(error); });
      },
      errorHandler_);
}

void VLSimulatedValidationProxy::validation_shareDocumentWithCompletionHandler(ErrorReply reply) {
  auto connection = connection_;
  connection_->call(
      [connection, reply = std::move(reply)] {
        VLErrorRef error = connection->runner()->share(connection->itemIdentifier());
        VLBackgroundQueue::shared().async([reply, error] { reply(error); });
      },
      errorHandler_);
}
