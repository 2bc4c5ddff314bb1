// VLSimulatedServiceConnection: a connection to the simulated provider's validation
// service for one item, and the proxies it hands out.
//
// Calls through a proxy work only while the connection is resumed, not invalidated, and
// speaks KsVaultlineValidationServiceV1; otherwise they fail through the proxy's error
// handler (a proxy without one drops the call, as a real connection would). Replies come
// on background threads after the work has run on the service queue. Thread-safe.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "Dispatch/VLDispatchQueue.h"
#include "Simulated/VLSimulatedActionRunner.h"
#include "Vaultline/VLServiceConnection.h"

class VLSimulatedServiceConnection : public VLServiceConnection,
                                     public std::enable_shared_from_this<VLSimulatedServiceConnection> {
 public:
  static std::shared_ptr<VLSimulatedServiceConnection> make(std::shared_ptr<VLSimulatedActionRunner> runner,
                                                            std::shared_ptr<VLDispatchQueue> queue,
                                                            std::string itemIdentifier);

  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxy() override;
  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(
      std::function<void(VLErrorRef)> handler) override;

  // For proxies: runs `work` on the service queue if the connection can carry calls, else
  // reports the failure to `handler` (if any). Either way on another thread, later.
  void call(std::function<void()> work, const std::function<void(VLErrorRef)>& handler);

  const std::shared_ptr<VLSimulatedActionRunner>& runner() const { return runner_; }
  const std::string& itemIdentifier() const { return itemIdentifier_; }

 private:
  VLSimulatedServiceConnection(std::shared_ptr<VLSimulatedActionRunner> runner, std::shared_ptr<VLDispatchQueue> queue,
                               std::string itemIdentifier)
      : runner_(std::move(runner)), queue_(std::move(queue)), itemIdentifier_(std::move(itemIdentifier)) {}

  const std::shared_ptr<VLSimulatedActionRunner> runner_;
  const std::shared_ptr<VLDispatchQueue> queue_;
  const std::string itemIdentifier_;
};
