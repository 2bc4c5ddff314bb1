// Subscriptions: collections.subscribe and collections.unsubscribe.
#include "VLProviderServer.h"
#include "VLProviderServerSubscription.h"
#include "Vaultline/VLConstants.h"

using nlohmann::json;

void VLProviderServer::subscribe(const json& id, const VLRemoteJSONReader& params) {
  int64_t number = params.field("subscription").integer();
  auto scope = params.field("scope");
  std::string kind = scope.field("kind").string();
  std::shared_ptr<VLItemCollection> collection;
  if (kind == "container") {
    collection = manager_->collectionWithIdentifier(scope.field("container").string(), std::nullopt,
                                                    provider_->providerIdentifier(), {});
  } else if (kind == "workingSet") {
    collection = manager_->collectionWithIdentifier(KsVaultlineWorkingSetContainerItemIdentifier, std::nullopt,
                                                    provider_->providerIdentifier(), {});
  } else if (kind == "provider") {
    collection = manager_->newCollectionForProvider(provider_->providerID());
  } else {
    scope.field("kind").fail("expected \"container\", \"workingSet\" or \"provider\", got \"" + kind + "\"");
  }
  {
    std::lock_guard lock(mutex_);
    if (subscriptions_.count(number)) {
      params.field("subscription").fail("subscription " + std::to_string(number) + " is already open");
    }
  }
  auto subscription = VLProviderServerSubscription::start(weak_from_this(), number, id, collection);
  std::lock_guard lock(mutex_);
  subscriptions_[number] = subscription;
}
void VLProviderServer::unsubscribe(const json&, const VLRemoteJSONReader& params) {
  std::shared_ptr<VLProviderServerSubscription> subscription;
  {
    std::lock_guard lock(mutex_);
    auto found = subscriptions_.find(params.field("subscription").integer());
    if (found == subscriptions_.end()) return;
    subscription = found->second;
    subscriptions_.erase(found);
  }
  subscription->stop();
}
