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

void VLSimulatedServiceConnection::resume() {
  std::lock_guard lock(stateMutex_);
  resumed_ = true;
}

void VLSimulatedServiceConnection::invalidate() {
  std::lock_guard lock(stateMutex_);
  invalidated_ = true;
}

std::shared_ptr<VLRemoteObjectProxy> VLSimulatedServiceConnection::remoteObjectProxy() {
  return VLSimulatedValidationProxy::make(shared_from_this(), nullptr);
}

std::shared_ptr<VLRemoteObjectProxy> VLSimulatedServiceConnection::remoteObjectProxyWithErrorHandler(
    std::function<void(VLErrorRef)> handler) {
  return VLSimulatedValidationProxy::make(shared_from_this(), std::move(handler));
}

void VLSimulatedServiceConnection::call(std::function<void()> work, const std::function<void(VLErrorRef)>& handler) {
  std::string problem;
  {
    std::lock_guard lock(stateMutex_);
    if (invalidated_) {
      problem = "The connection to the validation service was invalidated.";
    } else if (!resumed_) {
      problem = "The connection to the validation service was not resumed.";
    } else if (remoteObjectInterface() != KsVaultlineValidationServiceV1ProtocolName) {
      problem = "The connection's remote interface is not " + KsVaultlineValidationServiceV1ProtocolName + ".";
    }
  }
  if (problem.empty()) {
    queue_->async(std::move(work));
  } else if (handler) {
    auto error = VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable, problem);
    VLBackgroundQueue::shared().async([handler, error] { handler(error); });
  }
}
