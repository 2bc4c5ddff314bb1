#include "Simulated/VLSimulatedServiceConnection.h"

#include "Dispatch/VLBackgroundQueue.h"
#include "Simulated/VLSimulatedValidationProxy.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "Vaultline/VLConstants.h"

std::shared_ptr<VLSimulatedServiceConnection> VLSimulatedServiceConnection::make(
    std::shared_ptr<VLSimulatedActionRunner> runner, std::shared_ptr<VLDispatchQueue> queue,
    std::string itemIdentifier) {
  return std::shared_ptr<VLSimulatedServiceConnection>(
      new VLSimulatedServiceConnection(std::move(runner), std::move(queue), std::move(itemIdentifier)));
}

std::shared_ptr<VLRemoteObjectProxy> VLSimulatedServiceConnection::remoteObjectProxy() {
  return VLSimulatedValidationProxy::make(shared_from_this(), nullptr);
}

std::shared_ptr<VLRemoteObjectProxy> VLSimulatedServiceConnection::remoteObjectProxyWithErrorHandler(
    std::function<void(VLErrorRef)> handler) {
  return VLSimulatedValidationProxy::make(shared_from_this(), std::move(handler));
}

void VLSimulatedServiceConnection::call(std::function<void()> work, const std::function<void(VLErrorRef)>& handler) {
  std::string problem = problemCarryingCalls(KsVaultlineValidationServiceV1ProtocolName);
  if (problem.empty()) {
    queue_->async(std::move(work));
  } else if (handler) {
    auto error = VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable, problem);
    VLBackgroundQueue::shared().async([handler, error] { handler(error); });
  }
}
