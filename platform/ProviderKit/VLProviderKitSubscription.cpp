#include "ProviderKit/VLProviderKitSubscription.h"

#include <functional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "ProviderKit/VLProviderKitSession.h"
#include "Remote/VLProtocolMethod.h"
#include "Vaultline/VLConstants.h"

namespace {

class VLProviderKitFeedSink : public VLProviderScopeSink {
 public:
  explicit VLProviderKitFeedSink(std::weak_ptr<VLProviderKitSubscription> subscription)
      : subscription_(std::move(subscription)) {}
  void answer(const std::vector<VLItemRef>& members) override {
    if (auto subscription = subscription_.lock()) subscription->answer(members);
  }
  void fail(const VLErrorRef& error) override {
    if (auto subscription = subscription_.lock()) subscription->fail(error);
  }
  void changed(const std::vector<VLItemRef>& updated, const std::vector<std::string>& deleted,
               const VLItemRef& observedItem) override {
    if (auto subscription = subscription_.lock()) subscription->changed(updated, deleted, observedItem);
  }

 private:
  std::weak_ptr<VLProviderKitSubscription> subscription_;
};

VLErrorRef kitNoSuchContainer(const std::string& identifier) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                      "The container \"" + identifier + "\" doesn't exist.");
}

}  // namespace

uint64_t VLProviderKitSubscription::encode(VLProviderKitSession& session, std::string& out, const VLItem& item) const {
  size_t start = out.size();
  session.encoder().item(out, item);
  return std::hash<std::string_view>()(std::string_view(out).substr(start));
}

void VLProviderKitSubscription::start() {
  auto session = session_.lock();
  if (!session) return;
  auto feed = session->store().openScope(scope_, std::make_shared<VLProviderKitFeedSink>(weak_from_this()));
  if (feed) {
    // The feed may already deliver on its own thread, and stop() may come from another.
    bool over = false;
    {
      std::lock_guard lock(mutex_);
      feed_ = feed;
      over = over_;
    }
    if (over) feed->stop();
    return;
  }
  VLStoreItemsResult members = session->store().enumerate(scope_);
  if (members.error) {
    fail(members.error);
    return;
  }
  if (scope_.kind == VLProviderScope::Kind::Container) {
    auto container = session->store().lookup(scope_.container);
    if (container.item) observedIfChanged(*session, container.item);
  }
  answer(members.items);
}

void VLProviderKitSubscription::stop() {
  std::shared_ptr<VLProviderScopeFeed> feed;
  {
    std::lock_guard lock(mutex_);
    over_ = true;
    feed = feed_;
  }
  if (feed) feed->stop();
}

void VLProviderKitSubscription::answer(const std::vector<VLItemRef>& members) {
  auto session = session_.lock();
  if (!session) return;
  std::lock_guard lock(mutex_);
  if (over_ || answered_) return;
  answered_ = true;
  // A big scope goes in pages, so that no line comes near the protocol's limit; each page is
  // written as it is encoded.
  bool kitWorked = !feed_;
  size_t total = members.size();
  for (size_t first = 0; first == 0 || first < total; first += kPageSize) {
    size_t end = std::min(total, first + kPageSize);
    std::string body;
    VLProviderKitObject object(body);
    if (first > 0) object.integer("subscription", number_);
    std::string& list = object.key("items");
    list += '[';
    for (size_t i = first; i < end; ++i) {
      if (i > first) list += ',';
      uint64_t hash = encode(*session, list, *members[i]);
      if (kitWorked) reported_[members[i]->itemIdentifier()] = hash;
    }
    list += ']';
    if (end < total) object.boolean("more", true);
    object.close();
    if (first == 0) {
      session->reply(requestID_, body);
    } else {
      session->notify(VLProtocolMethod::kCollectionsItems, body);
    }
  }
}

void VLProviderKitSubscription::fail(const VLErrorRef& error) {
  auto session = session_.lock();
  if (!session || !error) return;
  std::string body;
  bool wasAnswered = false;
  {
    std::lock_guard lock(mutex_);
    if (over_) return;
    over_ = true;
    wasAnswered = std::exchange(answered_, true);
    VLProviderKitObject object(body);
    if (wasAnswered) object.integer("subscription", number_);
    session->encoder().error(object.key("error"), *error);
    object.close();
  }
  // The number is free again before the host hears of the failure, so it may subscribe anew
  // under it at once.
  session->drop(number_);
  if (wasAnswered) {
    session->notify(VLProtocolMethod::kCollectionsFailed, body);
  } else {
    session->reply(requestID_, body);
  }
}

void VLProviderKitSubscription::changed(const std::vector<VLItemRef>& updated, const std::vector<std::string>& deleted,
                                        const VLItemRef& observedItem) {
  auto session = session_.lock();
  if (!session) return;
  std::string list, observed;
  for (const auto& item : updated) {
    if (!item) continue;
    if (!list.empty()) list += ',';
    session->encoder().item(list, *item);
  }
  if (observedItem) session->encoder().item(observed, *observedItem);
  std::lock_guard lock(mutex_);
  if (over_ || !answered_) return;
  sendChanges(*session, list, deleted, observed);
}

std::string VLProviderKitSubscription::observedIfChanged(VLProviderKitSession& session, const VLItemRef& container) {
  std::string observed;
  uint64_t hash = encode(session, observed, *container);
  if (hash == observedHash_) return "";
  observedHash_ = hash;
  return observed;
}

void VLProviderKitSubscription::apply(const Lookups& lookups) {
  auto session = session_.lock();
  if (!session) return;
  {
    std::lock_guard lock(mutex_);
    if (over_ || !answered_) return;
  }
  std::string updated, observed;
  size_t updatedCount = 0;
  std::vector<std::string> deleted;
  for (const auto& [identifier, item] : lookups) {
    if (scope_.kind == VLProviderScope::Kind::Container && identifier == scope_.container) {
      if (!item || !item->isContainer()) {
        fail(kitNoSuchContainer(identifier));
        return;
      }
      observed = observedIfChanged(*session, item);
      if (!session->store().contains(scope_, *item)) continue;  // the root is its own parent
    }
    if (item && session->store().contains(scope_, *item)) {
      size_t mark = updated.size();
      if (updatedCount) updated += ',';
      uint64_t hash = encode(*session, updated, *item);
      auto [known, added] = reported_.try_emplace(identifier, hash);
      if (!added && known->second == hash) {
        updated.resize(mark);  // nothing the host has not seen
        continue;
      }
      known->second = hash;
      ++updatedCount;
    } else if (reported_.erase(identifier)) {
      deleted.push_back(identifier);
    }
  }
  std::lock_guard lock(mutex_);
  if (!over_) sendChanges(*session, updated, deleted, observed);
}

void VLProviderKitSubscription::rescan() {
  auto session = session_.lock();
  if (!session) return;
  {
    std::lock_guard lock(mutex_);
    if (over_ || !answered_) return;
  }
  VLStoreItemsResult members = session->store().enumerate(scope_);
  if (members.error) {
    fail(members.error);
    return;
  }
  std::string updated, observed;
  size_t updatedCount = 0;
  std::unordered_map<std::string, uint64_t> now;
  now.reserve(members.items.size());
  for (const auto& item : members.items) {
    size_t mark = updated.size();
    if (updatedCount) updated += ',';
    uint64_t hash = encode(*session, updated, *item);
    now[item->itemIdentifier()] = hash;
    auto known = reported_.find(item->itemIdentifier());
    if (known != reported_.end() && known->second == hash) {
      updated.resize(mark);
    } else {
      ++updatedCount;
    }
  }
  std::vector<std::string> deleted;
  for (const auto& [identifier, hash] : reported_) {
    if (!now.count(identifier)) deleted.push_back(identifier);
  }
  reported_ = std::move(now);
  if (scope_.kind == VLProviderScope::Kind::Container) {
    auto container = session->store().lookup(scope_.container);
    if (!container.item) {
      fail(kitNoSuchContainer(scope_.container));
      return;
    }
    observed = observedIfChanged(*session, container.item);
  }
  std::lock_guard lock(mutex_);
  if (!over_) sendChanges(*session, updated, deleted, observed);
}

void VLProviderKitSubscription::sendChanges(VLProviderKitSession& session, const std::string& updated,
                                            const std::vector<std::string>& deleted, const std::string& observed) {
  if (updated.empty() && deleted.empty() && observed.empty()) return;
  std::string body;
  VLProviderKitObject object(body);
  object.integer("subscription", number_);
  if (!deleted.empty()) {
    std::string& list = object.key("deleted");
    list += '[';
    for (size_t i = 0; i < deleted.size(); ++i) {
      if (i) list += ',';
      VLProviderKitEncoder::string(list, deleted[i]);
    }
    list += ']';
  }
  if (!updated.empty()) object.key("updated") += "[" + updated + "]";
  if (!observed.empty()) object.raw("observedItem", observed);
  object.close();
  session.notify(VLProtocolMethod::kCollectionsChanged, body);
}
