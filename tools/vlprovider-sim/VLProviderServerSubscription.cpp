#include "VLProviderServerSubscription.h"

#include "Dispatch/VLDispatchQueue.h"
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

void VLProviderServerSubscription::report(VLItemCollection& collection) {
  auto server = server_.lock();
  if (!server) return;
  std::map<std::string, VLItemRef> now;
  for (const auto& item : collection.items()) now[item->itemIdentifier()] = item;
  if (!answered_) {
    answered_ = true;
    reported_ = now;
    server->reply(requestID_, {{"items", server->codec().encodeItems(collection.items())}});
    return;
  }
  json deleted = json::array();
  std::vector<VLItemRef> updated;
  for (const auto& [identifier, item] : reported_) {
    if (!now.count(identifier)) deleted.push_back(identifier);
  }
  for (const auto& [identifier, item] : now) {
    auto before = reported_.find(identifier);
    if (before == reported_.end() || before->second != item) updated.push_back(item);
  }
  reported_ = std::move(now);
  if (deleted.empty() && updated.empty()) return;
  json params = {{"subscription", number_}};
  if (!deleted.empty()) params["deleted"] = deleted;
  if (!updated.empty()) params["updated"] = server->codec().encodeItems(updated);
  server->notify("collections.changed", params);
}

void VLProviderServerSubscription::dataForCollectionShouldBeReloaded(VLItemCollection& collection) {
  report(collection);
}

void VLProviderServerSubscription::collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection,
                                                                                  const ReplayBlock&) {
  report(collection);
}

void VLProviderServerSubscription::collectionDidEncounterError(VLItemCollection&, const VLErrorRef& error) {
  auto server = server_.lock();
  if (!server) return;
  json encoded = server->codec().encodeError(*error);
  if (!answered_) {
    answered_ = true;
    server->reply(requestID_, {{"error", encoded}});
  } else {
    server->notify("collections.failed", {{"subscription", number_}, {"error", encoded}});
  }
}

void VLProviderServerSubscription::collectionDidUpdateObservedItem(VLItemCollection&, const VLItemRef& item) {
  auto server = server_.lock();
  if (!server || !answered_ || !item) return;
  server->notify("collections.changed",
                 {{"subscription", number_}, {"observedItem", server->codec().encodeItem(*item)}});
}
