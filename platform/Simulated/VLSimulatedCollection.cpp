#include "Simulated/VLSimulatedCollection.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

#include "Vaultline/VLConstants.h"

namespace {

using Entry = VLSimulatedStore::Entry;

// The index-path changes that turn one delivered list into the next.
struct Changes {
  VLIndexPaths deleted, inserted, updated, movedFrom, movedTo;
  std::vector<std::set<std::string>> updateKeys;
  bool empty() const { return deleted.empty() && inserted.empty() && updated.empty() && movedTo.empty(); }
};

Changes difference(const std::vector<Entry>& before, const std::vector<Entry>& after) {
  std::map<std::string, size_t> oldRows, newRows;
  for (size_t row = 0; row < before.size(); ++row) oldRows[before[row].item->itemIdentifier()] = row;
  for (size_t row = 0; row < after.size(); ++row) newRows[after[row].item->itemIdentifier()] = row;
  Changes changes;
  std::vector<std::string> oldSurvivors, newSurvivors;
  for (size_t row = 0; row < before.size(); ++row) {
    const auto& identifier = before[row].item->itemIdentifier();
    if (newRows.count(identifier)) {
      oldSurvivors.push_back(identifier);
    } else {
      changes.deleted.push_back(VLIndexPath::forRow(row));
    }
  }
  for (size_t row = 0; row < after.size(); ++row) {
    const auto& identifier = after[row].item->itemIdentifier();
    auto old = oldRows.find(identifier);
    if (old == oldRows.end()) {
      changes.inserted.push_back(VLIndexPath::forRow(row));
      continue;
    }
    newSurvivors.push_back(identifier);
    if (before[old->second].revision != after[row].revision || before[old->second].item != after[row].item) {
      changes.updated.push_back(VLIndexPath::forRow(row));
      changes.updateKeys.push_back({});
    }
  }
  // A survivor moved when its place among the survivors changed.
  for (size_t i = 0; i < newSurvivors.size(); ++i) {
    if (oldSurvivors[i] == newSurvivors[i]) continue;
    changes.movedFrom.push_back(VLIndexPath::forRow(oldRows[newSurvivors[i]]));
    changes.movedTo.push_back(VLIndexPath::forRow(newRows[newSurvivors[i]]));
  }
  return changes;
}

std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// Orders two attribute values of one key: dates, numbers and strings by value; absent last.
int compareValues(const VLValue& a, const VLValue& b) {
  if (a.isNone() || b.isNone()) return a.isNone() == b.isNone() ? 0 : (a.isNone() ? 1 : -1);
  if (a.date() && b.date()) return *a.date() < *b.date() ? -1 : (*b.date() < *a.date() ? 1 : 0);
  if (a.isNumber() && b.isNumber()) {
    return a.doubleValue() < b.doubleValue() ? -1 : (b.doubleValue() < a.doubleValue() ? 1 : 0);
  }
  std::string x = lowercase(a.description()), y = lowercase(b.description());
  return x < y ? -1 : (y < x ? 1 : 0);
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

void VLSimulatedCollection::sortEntries(std::vector<Entry>& entries) const {
  std::vector<VLSortDescriptor> descriptors;
  {
    std::lock_guard lock(mutex_);
    descriptors = descriptors_;
  }
  std::stable_sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
    for (const auto& descriptor : descriptors) {
      int order = compareValues(a.item->valueForKey(descriptor.key), b.item->valueForKey(descriptor.key));
      if (order != 0) return descriptor.ascending ? order < 0 : order > 0;
    }
    // Ties fall back to the name, then the identifier, so that every ordering is total.
    int byName = compareValues(a.item->filename(), b.item->filename());
    if (byName != 0) return byName < 0;
    return a.item->itemIdentifier() < b.item->itemIdentifier();
  });
}

void VLSimulatedCollection::post(std::optional<std::vector<Entry>> entries, std::optional<Entry> observed,
                                 bool reload) {
  if (entries) sortEntries(*entries);
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
  } else if (Changes changes = difference(before, *posting.entries); !changes.empty()) {
    delegate->collectionDidPerformBatchUpdateWithReplayBlock(
        *this, [this, changes](VLItemCollectionIndexPathBasedDelegate& target) {
          if (!changes.deleted.empty()) target.collectionDidDeleteItemsAtIndexPaths(*this, changes.deleted);
          if (!changes.inserted.empty()) target.collectionDidInsertItemsAtIndexPaths(*this, changes.inserted);
          if (!changes.updated.empty())
            target.collectionDidUpdateItemsAtIndexPathsChanges(*this, changes.updated, changes.updateKeys);
          if (!changes.movedTo.empty())
            target.collectionDidMoveItemsFromIndexPathsToIndexPaths(*this, changes.movedFrom, changes.movedTo);
        });
  }
  if (observedChanged) delegate->collectionDidUpdateObservedItem(*this, posting.observed->item);
}
