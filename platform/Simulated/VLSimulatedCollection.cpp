#include "Simulated/VLSimulatedCollection.h"

#include <algorithm>

#include "Simulated/VLSimulatedCollectionOrder.h"
#include "Vaultline/VLCollectionChanges.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLItemOrdering.h"

namespace {

using Entry = VLSimulatedStore::Entry;

std::vector<std::string> identifiers(const std::vector<Entry>& entries) {
  std::vector<std::string> list;
  list.reserve(entries.size());
  for (const auto& entry : entries) list.push_back(entry.item->itemIdentifier());
  return list;
}

}  // namespace

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
    delivered_.clear();
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
  std::vector<VLItemRef> items;
  items.reserve(delivered_.size());
  for (const auto& entry : delivered_) items.push_back(entry.item);
  return items;
}

void VLSimulatedCollection::reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) {
  {
    std::lock_guard lock(mutex_);
    descriptors_ = descriptors;
  }
  if (observing_.load()) store_->republish(std::static_pointer_cast<VLSimulatedCollection>(shared_from_this()));
}

std::vector<Entry> VLSimulatedCollection::sortedEntries(const std::vector<Entry>& entries) {
  std::vector<VLSortDescriptor> descriptors;
  {
    std::lock_guard lock(mutex_);
    descriptors = descriptors_;
  }
  std::string scope = std::to_string(static_cast<int>(scope_.kind)) + ":" + scope_.identifier;
  return store_->orderLocked().sorted(scope, descriptors, entries);
}

void VLSimulatedCollection::post(std::optional<std::vector<Entry>> entries, std::optional<Entry> observed,
                                 bool reload) {
  const uint64_t observedRevision = observed ? observed->revision : 0;
  const bool unchanged =
      entries && lastPosted_ && observedRevision == lastPostedObservedRevision_ &&
      std::equal(entries->begin(), entries->end(), lastPosted_->begin(), lastPosted_->end(),
                 [](const Entry& a, const Entry& b) { return a.item == b.item && a.revision == b.revision; });
  if (unchanged && !reload) return;
  if (entries) {
    auto sorted = sortedEntries(*entries);
    lastPosted_ = std::move(entries);
    entries = std::move(sorted);
  } else {
    lastPosted_.reset();
  }
  lastPostedObservedRevision_ = observedRevision;
  Posting posting;
  {
    std::lock_guard lock(mutex_);
    posting.generation = generation_;
  }
  posting.reload = reload;
  posting.entries = std::move(entries);
  posting.observed = std::move(observed);
  std::weak_ptr<VLItemCollection> weak = shared_from_this();
  timer_->after(store_->settings().collectionLatency, [weak, posting = std::move(posting)]() mutable {
    auto self = std::static_pointer_cast<VLSimulatedCollection>(weak.lock());
    if (!self) return;
    self->workingQueue()->async([self, posting = std::move(posting)] { self->deliver(posting); });
  });
}

void VLSimulatedCollection::deliver(const Posting& posting) {
  std::lock_guard delivery(deliveryMutex_);
  std::vector<Entry> before;
  bool observedChanged = false;
  {
    std::lock_guard lock(mutex_);
    if (!observing_.load() || posting.generation != generation_ || failed_) return;
    if (!posting.entries) {
      failed_ = true;
    } else {
      before = std::move(delivered_);
      delivered_ = *posting.entries;
    }
    if (posting.observed) {
      observedChanged = observedRevision_ != 0 && observedRevision_ != posting.observed->revision;
      observedRevision_ = posting.observed->revision;
    }
  }
  auto delegate = this->delegate();
  if (!delegate) return;
  if (!posting.entries) {
    VLErrorRef error =
        scope_.error ? scope_.error
                     : VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                                    "The container \"" + scope_.identifier + "\" no longer exists.");
    delegate->collectionDidEncounterError(*this, error);
    return;
  }
  if (posting.reload) {
    delegate->dataForCollectionShouldBeReloaded(*this);
  } else {
    const auto& after = *posting.entries;
    auto changes = VLCollectionChanges::between(identifiers(before), identifiers(after), [&](size_t old, size_t now) {
      return before[old].revision != after[now].revision || before[old].item != after[now].item;
    });
    if (!changes.empty()) {
      delegate->collectionDidPerformBatchUpdateWithReplayBlock(
          *this, [this, changes](VLItemCollectionIndexPathBasedDelegate& target) { changes.replay(*this, target); });
    }
  }
  if (observedChanged) delegate->collectionDidUpdateObservedItem(*this, posting.observed->item);
}
