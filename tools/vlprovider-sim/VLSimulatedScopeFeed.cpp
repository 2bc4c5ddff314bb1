#include "VLSimulatedScopeFeed.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "Dispatch/VLDispatchQueue.h"

std::shared_ptr<VLSimulatedScopeFeed> VLSimulatedScopeFeed::start(std::shared_ptr<VLProviderScopeSink> sink,
                                                                  std::shared_ptr<VLItemCollection> collection) {
  std::shared_ptr<VLSimulatedScopeFeed> feed(new VLSimulatedScopeFeed(std::move(sink), collection));
  collection->setWorkingQueue(VLDispatchQueue::make("simulated-scope"));
  collection->setDelegate(feed);
  collection->workingQueue()->sync([&] { collection->startObserving(); });
  return feed;
}

void VLSimulatedScopeFeed::stop() {
  std::call_once(stopped_, [this] { collection_->workingQueue()->sync([this] { collection_->stopObserving(); }); });
}

void VLSimulatedScopeFeed::answer(VLItemCollection& collection) {
  answered_ = true;
  reported_ = collection.items();
  sink_->answer(reported_);
}

void VLSimulatedScopeFeed::dataForCollectionShouldBeReloaded(VLItemCollection& collection) {
  if (!answered_) {
    answer(collection);
    return;
  }
  // A later reload (a new ordering) changes no member; report what did change, by identity.
  std::vector<VLItemRef> now = collection.items();
  std::unordered_map<std::string_view, const VLItem*> before;
  before.reserve(reported_.size());
  for (const auto& item : reported_) before.emplace(item->itemIdentifier(), item.get());
  std::vector<std::string> deleted;
  std::vector<VLItemRef> updated;
  for (const auto& item : now) {
    auto found = before.find(item->itemIdentifier());
    if (found == before.end() || found->second != item.get()) updated.push_back(item);
    if (found != before.end()) before.erase(found);
  }
  for (const auto& [identifier, item] : before) deleted.emplace_back(identifier);
  reported_ = std::move(now);
  if (!deleted.empty() || !updated.empty()) sink_->changed(updated, deleted, nullptr);
}

void VLSimulatedScopeFeed::collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection,
                                                                          const ReplayBlock& replay) {
  if (!answered_) {
    answer(collection);
    return;
  }
  deletedRows_.clear();
  changedRows_.clear();
  movedRows_.clear();
  replay(*this);
  std::vector<VLItemRef> now = collection.items();
  std::vector<std::string> deleted;
  for (size_t row : deletedRows_) {
    if (row < reported_.size()) deleted.push_back(reported_[row]->itemIdentifier());
  }
  std::set<size_t> rows(changedRows_.begin(), changedRows_.end());
  // A member that moved was reported before; it is news only when its snapshot changed too.
  for (auto [from, to] : movedRows_) {
    if (from < reported_.size() && to < now.size() && reported_[from] != now[to]) rows.insert(to);
  }
  std::vector<VLItemRef> updated;
  for (size_t row : rows) {
    if (row < now.size()) updated.push_back(now[row]);
  }
  reported_ = std::move(now);
  if (!deleted.empty() || !updated.empty()) sink_->changed(updated, deleted, nullptr);
}

void VLSimulatedScopeFeed::collectionDidInsertItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths& paths) {
  for (const auto& path : paths) changedRows_.push_back(path.indexAtPosition(1));
}

void VLSimulatedScopeFeed::collectionDidDeleteItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths& paths) {
  for (const auto& path : paths) deletedRows_.push_back(path.indexAtPosition(1));
}

void VLSimulatedScopeFeed::collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection&, const VLIndexPaths& paths,
                                                                       const std::vector<std::set<std::string>>&) {
  for (const auto& path : paths) changedRows_.push_back(path.indexAtPosition(1));
}

void VLSimulatedScopeFeed::collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection&, const VLIndexPaths& from,
                                                                            const VLIndexPaths& to) {
  for (size_t i = 0; i < from.size() && i < to.size(); ++i) {
    movedRows_.emplace_back(from[i].indexAtPosition(1), to[i].indexAtPosition(1));
  }
}

void VLSimulatedScopeFeed::collectionDidEncounterError(VLItemCollection&, const VLErrorRef& error) {
  answered_ = true;
  sink_->fail(error);
}

void VLSimulatedScopeFeed::collectionDidUpdateObservedItem(VLItemCollection&, const VLItemRef& item) {
  if (answered_ && item) sink_->changed({}, {}, item);
}
