// VLSimulatedItemManager: the simulated provider's item manager.
//
// Look-ups and actions are carried out in order on the service's serial queue (actions
// after the action latency); every completion then runs on a background thread, never
// inside the call that asked for it and never on the caller's queue. Collections deliver
// through their own working queues. Made by make(); thread-safe.
#pragma once

#include <memory>

#include "Dispatch/VLDispatchQueue.h"
#include "Simulated/VLSimulatedActionRunner.h"
#include "Simulated/VLSimulatedCollection.h"
#include "Simulated/VLSimulatedTimer.h"
#include "Vaultline/VLItemManager.h"

class VLSimulatedItemManager : public VLItemManager {
 public:
  static std::shared_ptr<VLSimulatedItemManager> make(std::shared_ptr<VLSimulatedActionRunner> runner,
                                                      std::shared_ptr<VLDispatchQueue> queue,
                                                      std::shared_ptr<VLSimulatedTimer> timer);

  void fetchRootItemForProvider(const std::shared_ptr<VLProvider>& provider, ItemCompletion completion) override;
  void fetchURLForItem(const VLItemRef& item, URLCompletion completion) override;
  void fetchURLForItem(const VLItemRef& item, bool creatingPlaceholderIfMissing, URLCompletion completion) override;
  void fetchItemForItemID(const std::shared_ptr<const VLItemID>& itemID, ItemCompletion completion) override;
  void fetchItemForURL(const VLURL& url, ItemCompletion completion) override;
  void scheduleAction(const std::shared_ptr<VLActionOperation>& action) override;
  std::shared_ptr<VLItemCollection> collectionForFolderItem(const VLItemRef& folder) override;
  std::shared_ptr<VLItemCollection> newCollectionWithItemID(const std::shared_ptr<const VLItemID>& itemID) override;
  std::shared_ptr<VLItemCollection> collectionWithIdentifier(const std::string& identifier,
                                                             const std::optional<std::string>& domainIdentifier,
                                                             const std::string& providerIdentifier,
                                                             const std::vector<std::string>& fileTypes) override;
  std::shared_ptr<VLItemCollection> newCollectionForProvider(const std::string& providerID) override;
  std::shared_ptr<VLThumbnailFetchOperation> thumbnailsFetchOperationForItems(const std::vector<VLItemRef>& items,
                                                                              VLSize size, double scale) override;

 private:
  VLSimulatedItemManager(std::shared_ptr<VLSimulatedActionRunner> runner, std::shared_ptr<VLDispatchQueue> queue,
                         std::shared_ptr<VLSimulatedTimer> timer)
      : runner_(std::move(runner)), store_(runner_->store()), queue_(std::move(queue)), timer_(std::move(timer)) {}
  // Computes a reply on the service queue and runs it on a background thread; work that
  // throws is answered through `fail` with an error naming the exception.
  void answer(std::function<void(VLErrorRef)> fail, std::function<std::function<void()>()> work);
  bool providerMatches(const std::string& part) const;
  std::shared_ptr<VLItemCollection> containerCollection(const std::string& identifier, bool providerKnown);
  std::shared_ptr<VLItemCollection> collection(VLSimulatedCollection::Scope scope);

  const std::shared_ptr<VLSimulatedActionRunner> runner_;
  const std::shared_ptr<VLSimulatedStore> store_;
  const std::shared_ptr<VLDispatchQueue> queue_;
  const std::shared_ptr<VLSimulatedTimer> timer_;
};
