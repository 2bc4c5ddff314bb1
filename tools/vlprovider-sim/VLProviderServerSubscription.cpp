#include "VLProviderServerSubscription.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "Dispatch/VLDispatchQueue.h"
#include "Remote/VLProtocolMethod.h"
#include "VLProviderServer.h"

using nlohmann::json;

std::shared_ptr<VLProviderServerSubscription> VLProviderServerSubscription::start(
    std::weak_ptr<VLProviderServer> server, int64_t number, json requestID,
    std::shared_ptr<VLItemCollection> collection) {
  std::shared_ptr<VLProviderServerSubscription> subscription(
      new VLProviderServerSubscription(std::move(server), number, std::move(requestID), collection));
  collection->setWorkingQueue(VLDispatchQueue::make("subscription-" + std::to_string(number)));
  collection->setDelegate(subscription);
  collection->workingQueue()->sync([&] { collection->startObserving(); });
  return subscription;
}

void VLProviderServerSubscription::stop() {
  collection_->workingQueue()->sync([this] { collection_->stopObserving(); });
}

void VLProviderServerSubscription::answer(VLItemCollection& collection) {
  auto server = server_.lock();
  if (!server) return;
  answered_ = true;
  reported_ = collection.items();
  // A big scope goes in pages, so that no line comes near the protocol's limit and neither
  // side holds the whole enumeration as one document.
  auto page = [&](size_t first) {
    size_t end = std::min(reported_.size(), first + kPageSize);
    return server->codec().encodeItems(std::vector<VLItemRef>(reported_.begin() + static_cast<std::ptrdiff_t>(first),
                                                              reported_.begin() + static_cast<std::ptrdiff_t>(end)));
  };
  json result = {{"items", page(0)}};
  if (reported_.size() > kPageSize) result["more"] = true;
  server->reply(requestID_, result);
  for (size_t first = kPageSize; first < reported_.size(); first += kPageSize) {
    json params = {{"subscription", number_}, {"items", page(first)}};
    if (first + kPageSize < reported_.size()) params["more"] = true;
    server->notify(VLProtocolMethod::kCollectionsItems, params);
  }
}

void VLProviderServerSubscription::dataForCollectionShouldBeReloaded(VLItemCollection& collection) {
  if (!answered_) {
    answer(collection);
    return;
  }
  // A later reload (a new ordering) changes no member; report what did change, by identity.
  auto server = server_.lock();
  if (!server) return;
  std::vector<VLItemRef> now = collection.items();
  std::unordered_map<std::string_view, const VLItem*> before;
  before.reserve(reported_.size());
  for (const auto& item : reported_) before.emplace(item->itemIdentifier(), item.get());
  json deleted = json::array();
  std::vector<VLItemRef> updated;
  for (const auto& item : now) {
    auto found = before.find(item->itemIdentifier());
    if (found == before.end() || found->second != item.get()) updated.push_back(item);
    if (found != before.end()) before.erase(found);
  }
  for (const auto& [identifier, item] : before) deleted.push_back(identifier);
  reported_ = std::move(now);
  sendChanges(*server, std::move(deleted), updated);
}

void VLProviderServerSubscription::collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection,
                                                                                  const ReplayBlock& replay) {
  if (!answered_) {
    answer(collection);
    return;
  }
  auto server = server_.lock();
  if (!server) return;
  deletedRows_.clear();
  changedRows_.clear();
  movedRows_.clear();
  replay(*this);
  std::vector<VLItemRef> now = collection.items();
  json deleted = json::array();
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
  sendChanges(*server, std::move(deleted), updated);
}

void VLProviderServerSubscription::collectionDidInsertItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths& paths) {
  for (const auto& path : paths) changedRows_.push_back(path.indexAtPosition(1));
}

void VLProviderServerSubscription::collectionDidDeleteItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths& paths) {
  for (const auto& path : paths) deletedRows_.push_back(path.indexAtPosition(1));
}

void VLProviderServerSubscription::collectionDidUpdateItemsAtIndexPathsChanges(
    VLItemCollection&, const VLIndexPaths& paths, const std::vector<std::set<std::string>>&) {
  for (const auto& path : paths) changedRows_.push_back(path.indexAtPosition(1));
}

void VLProviderServerSubscription::collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection&,
                                                                                    const VLIndexPaths& from,
                                                                                    const VLIndexPaths& to) {
  for (size_t i = 0; i < from.size() && i < to.size(); ++i) {
    movedRows_.emplace_back(from[i].indexAtPosition(1), to[i].indexAtPosition(1));
  }
}

void VLProviderServerSubscription::collectionDidEncounterError(VLItemCollection&, const VLErrorRef& error) {
  auto server = server_.lock();
  if (!server) return;
  json encoded = server->codec().encodeError(*error);
  if (!answered_) {
    answered_ = true;
    server->reply(requestID_, {{"error", encoded}});
  } else {
    server->notify(VLProtocolMethod::kCollectionsFailed, {{"subscription", number_}, {"error", encoded}});
  }
}

void VLProviderServerSubscription::collectionDidUpdateObservedItem(VLItemCollection&, const VLItemRef& item) {
  auto server = server_.lock();
  if (!server || !answered_ || !item) return;
  server->notify(VLProtocolMethod::kCollectionsChanged,
                 {{"subscription", number_}, {"observedItem", server->codec().encodeItem(*item)}});
}

void VLProviderServerSubscription::sendChanges(VLProviderServer& server, json deleted,
                                               const std::vector<VLItemRef>& updated) {
  if (deleted.empty() && updated.empty()) return;
  json params = {{"subscription", number_}};
  if (!deleted.empty()) params["deleted"] = std::move(deleted);
  if (!updated.empty()) params["updated"] = server.codec().encodeItems(updated);
  server.notify(VLProtocolMethod::kCollectionsChanged, params);
}
