// VLSimulatedValidationService: the service record under which the simulated provider
// lists its validation service for one item URL. Each connection request makes a fresh
// connection bound to that item; the completion runs later on a background thread.
// Immutable; thread-safe.
#pragma once

#include <memory>
#include <string>

#include "Dispatch/VLDispatchQueue.h"
#include "Simulated/VLSimulatedActionRunner.h"
#include "Vaultline/VLVaultlineService.h"

class VLSimulatedValidationService : public VLVaultlineService {
 public:
  static std::shared_ptr<VLSimulatedValidationService> make(std::shared_ptr<VLSimulatedActionRunner> runner,
                                                            std::shared_ptr<VLDispatchQueue> queue,
                                                            std::string itemIdentifier);

  std::string name() const override;
  void getVaultlineConnectionWithCompletionHandler(ConnectionCompletion completion) override;

 private:
  VLSimulatedValidationService(std::shared_ptr<VLSimulatedActionRunner> runner, std::shared_ptr<VLDispatchQueue> queue,
                               std::string itemIdentifier)
      : runner_(std::move(runner)), queue_(std::move(queue)), itemIdentifier_(std::move(itemIdentifier)) {}

  const std::shared_ptr<VLSimulatedActionRunner> runner_;
  const std::shared_ptr<VLDispatchQueue> queue_;
  const std::string itemIdentifier_;
};
