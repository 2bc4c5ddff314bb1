#include "Simulated/VLSimulatedValidationService.h"

#include "Dispatch/VLBackgroundQueue.h"
#include "Simulated/VLSimulatedServiceConnection.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"

std::shared_ptr<VLSimulatedValidationService> VLSimulatedValidationService::make(
    std::shared_ptr<VLSimulatedActionRunner> runner, std::shared_ptr<VLDispatchQueue> queue,
    std::string itemIdentifier) {
  return std::shared_ptr<VLSimulatedValidationService>(
      new VLSimulatedValidationService(std::move(runner), std::move(queue), std::move(itemIdentifier)));
}

std::string VLSimulatedValidationService::name() const { return KsVaultlineValidationServiceV1Name; }

void VLSimulatedValidationService::getVaultlineConnectionWithCompletionHandler(ConnectionCompletion completion) {
  auto connection = VLSimulatedServiceConnection::make(runner_, queue_, itemIdentifier_);
  VLBackgroundQueue::shared().async(
      [completion = std::move(completion), connection] { completion(connection, nullptr); });
}
