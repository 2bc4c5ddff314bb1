#include "Simulated/VLSimulatedCollection.h"

#include <algorithm>
#include <unordered_set>

#include "Simulated/VLSimulatedCollectionOrder.h"
#include "Vaultline/VLCollectionChanges.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLItemOrdering.h"

using Entry = VLSimulatedStore::Entry;

std::shared_ptr<VLSimulatedCollection> VLSimulatedCollection::make(std::shared_ptr<VLSimulatedStore> store, Scope scope,
                                                                   std::shared_ptr<VLSimulatedTimer> timer) {
  return std::shared_ptr<VLSimulatedCollection>(
      new VLSimulatedCollection(std::move(store), std::move(scope), std::move(timer)));
}

void VLSimulatedCollection::startObserving() {
  {
    std::lock_guard lock(mutex_);
    if (observing_.load()) return;
    ++generation_;
    delivered_ = VLCollectionModel();
    observedRevision_ = 0;
    failed_ = false;
    observing_ = true;
  }
  store_->startPublishing(std::static_pointer_cast<VLSimulatedCollection>(shared_from_this()));
}

void VLSimulatedCollection::stopObserving() {
  // Waits for a callback in progress on another thread; re-entrant from inside a callback.
  std::lock_guard delivery(deliveryMutex_);
  std::lock_guard lock(mutex_);
  observing_ = false;
  ++generation_;
}

std::vector<VLItemRef> VLSimulatedCollection::items() const {
  std::lock_guard lock(mutex_);
  return delivered_.items();
}

void VLSimulatedCollection::reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) {
  {
    std::lock_guard lock(mutex_);
    descriptors_ = descriptors;
  }
  if (observing_.load()) store_->republish(std::static_pointer_cast<VLSimulatedCollection>(shared_from_this()));
}

void VLSimulatedCollection::post(std::optional<std::vector<Entry>> entries, std::optional<Entry> observed,
                                 bool reload) {
  Posting posting;
  posting.observed = std::move(observed);
  if (!entries) {
    lastPosted_.clear();
    posted_ = false;
    posting.kind = Posting::Kind::Failure;
    return schedule(std::move(posting));
  }
  if (reload || !posted_) {
    {
      std::lock_guard lock(mutex_);
      posting.descriptors = descriptors_;
    }
    std::string scope = std::to_string(static_cast<int>(scope_.kind)) + ":" + scope_.identifier;
    auto sorted = store_->orderLocked().sorted(scope, posting.descriptors, *entries);
    lastPosted_.clear();
    lastPosted_.reserve(sorted.size());
    posting.items.reserve(sorted.size());
    for (auto& entry : sorted) {
      posting.items.push_back(entry.item);
      lastPosted_.emplace(entry.item->itemIdentifier(), std::move(entry));
    }
    posted_ = true;
    posting.kind = Posting::Kind::Reload;
    return schedule(std::move(posting));
  }
  // A whole listing compared with the last: what is new or different, and what is missing.
  std::unordered_set<std::string_view> listed;
  listed.reserve(entries->size());
  for (const auto& entry : *entries) listed.insert(entry.item->itemIdentifier());
  std::vector<std::string> gone;
  for (const auto& [identifier, entry] : lastPosted_) {
    if (!listed.count(identifier)) gone.emplace_back(identifier);
  }
  postChanges(std::move(*entries), gone, std::move(posting.observed));
}

void VLSimulatedCollection::postChanges(std::vector<Entry> candidates, const std::vector<std::string>& gone,
                                        std::optional<Entry> observed) {
  Posting posting;
  posting.kind = Posting::Kind::Changes;
  for (auto& entry : candidates) {
    auto found = lastPosted_.find(entry.item->itemIdentifier());
    if (found != lastPosted_.end() && found->second.item == entry.item && found->second.revision == entry.revision) {
      continue;
    }
    posting.items.push_back(entry.item);
    if (found != lastPosted_.end()) lastPosted_.erase(found);
    lastPosted_.emplace(entry.item->itemIdentifier(), std::move(entry));
  }
  for (const auto& identifier : gone) {
    auto found = lastPosted_.find(identifier);
    if (found == lastPosted_.end()) continue;
    posting.deleted.push_back(identifier);
    lastPosted_.erase(found);
  }
  const uint64_t observedRevision = observed ? observed->revision : 0;
  if (posting.items.empty() && posting.deleted.empty() && observedRevision == lastPostedObservedRevision_) return;
  posting.observed = std::move(observed);
  schedule(std::move(posting));
}

void VLSimulatedCollection::schedule(Posting posting) {
  lastPostedObservedRevision_ = posting.observed ? posting.observed->revision : 0;
  {
    std::lock_guard lock(mutex_);
    posting.generation = generation_;
  }
  std::weak_ptr<VLItemCollection> weak = shared_from_this();
  timer_->after(store_->settings().collectionLatency, [weak, posting = std::move(posting)]() mutable {
    auto self = std::static_pointer_cast<VLSimulatedCollection>(weak.lock());
    if (!self) return;
    self->workingQueue()->async([self, posting = std::move(posting)] { self->deliver(posting); });
  });
}

void VLSimulatedCollection::deliver(const Posting& posting) {
  std::lock_guard delivery(deliveryMutex_);
  VLCollectionChanges changes;
  bool observedChanged = false;
  {
    std::lock_guard lock(mutex_);
    if (!observing_.load() || posting.generation != generation_ || failed_) return;
    switch (posting.kind) {
      case Posting::Kind::Failure: failed_ = true; break;
      case Posting::Kind::Reload:
        delivered_ = VLCollectionModel(posting.descriptors);
        delivered_.reloadOrdered(posting.items);
        break;
      case Posting::Kind::Changes: changes = delivered_.apply(posting.deleted, posting.items); break;
    }
    if (posting.observed) {
      observedChanged = observedRevision_ != 0 && observedRevision_ != posting.observed->revision;
      observedRevision_ = posting.observed->revision;
    }
  }
  auto delegate = this->delegate();
  if (!delegate) return;
  switch (posting.kind) {
    case Posting::Kind::Failure: {
      VLErrorRef error =
          scope_.error ? scope_.error
                       : VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                                      "The container \"" + scope_.identifier + "\" no longer exists.");
      delegate->collectionDidEncounterError(*this, error);
      return;
    }
    case Posting::Kind::Reload: delegate->dataForCollectionShouldBeReloaded(*this); break;
    case Posting::Kind::Changes:
      if (!changes.empty()) {
        delegate->collectionDidPerformBatchUpdateWithReplayBlock(
            *this, [this, changes](VLItemCollectionIndexPathBasedDelegate& target) { changes.replay(*this, target); });
      }
      break;
  }
  if (observedChanged) delegate->collectionDidUpdateObservedItem(*this, posting.observed->item);
}
