#include "VLSimulatedProviderStore.h"

#include <condition_variable>
#include <optional>

#include "Dispatch/VLBackgroundQueue.h"
#include "VLSimulatedScopeFeed.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLCopyOperation.h"
#include "Vaultline/VLCreateFolderOperation.h"
#include "Vaultline/VLDeleteOperation.h"
#include "Vaultline/VLDownloadOperation.h"
#include "Vaultline/VLEvictOperation.h"
#include "Vaultline/VLFetchItemOperation.h"
#include "Vaultline/VLModifyFavoritesOperation.h"
#include "Vaultline/VLMoveOperation.h"
#include "Vaultline/VLRemoteObjectProxy.h"
#include "Vaultline/VLRenameOperation.h"
#include "Vaultline/VLServiceConnection.h"
#include "Vaultline/VLSetLastOpenDateOperation.h"
#include "Vaultline/VLSetTagsOperation.h"
#include "Vaultline/VLThumbnailFetchOperation.h"
#include "Vaultline/VLTrashOperation.h"
#include "Vaultline/VLUntrashOperation.h"

namespace {

// One outcome handed over from a platform completion to the thread that waits for it; the
// first outcome counts (a proxy may report an error and still answer).
template <class T>
class VLSimulatedOutcome {
 public:
  void set(T value) {
    std::lock_guard lock(mutex_);
    if (!value_) value_ = std::move(value);
    ready_.notify_all();
  }
  T wait() {
    std::unique_lock lock(mutex_);
    ready_.wait(lock, [this] { return value_.has_value(); });
    return *value_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable ready_;
  std::optional<T> value_;
};

template <class T>
std::shared_ptr<VLSimulatedOutcome<T>> simulatedOutcome() {
  return std::make_shared<VLSimulatedOutcome<T>>();
}

std::function<void(VLItemRef, VLErrorRef)> simulatedItemSetter(
    const std::shared_ptr<VLSimulatedOutcome<VLStoreItemResult>>& outcome) {
  return [outcome](VLItemRef item, VLErrorRef error) { outcome->set({std::move(item), std::move(error)}); };
}

VLURL simulatedURL(const std::string& path) { return VLURL::fileURLWithPath(path, false); }

}  // namespace

VLSimulatedProviderStore::VLSimulatedProviderStore(std::shared_ptr<VLPlatform> platform,
                                                   std::shared_ptr<VLProvider> provider)
    : platform_(std::move(platform)), manager_(platform_->defaultItemManager()), provider_(std::move(provider)) {}

VLProviderIdentity VLSimulatedProviderStore::identity() const {
  VLProviderIdentity identity;
  identity.identifier = provider_->identifier();
  identity.providerIdentifier = provider_->providerIdentifier();
  identity.providerID = provider_->providerID();
  if (const auto& domain = provider_->domain()) identity.domain = {domain->identifier, domain->displayName};
  identity.olderPlatformRevision = !platform_->offers(VLPlatformCapability::CopyWithURLs);
  identity.deviceProperties["InternalBuild"] = platform_->deviceBooleanProperty("InternalBuild");
  return identity;
}

VLStoreItemResult VLSimulatedProviderStore::rootItem() {
  auto outcome = simulatedOutcome<VLStoreItemResult>();
  manager_->fetchRootItemForProvider(provider_, simulatedItemSetter(outcome));
  return outcome->wait();
}

VLStoreItemResult VLSimulatedProviderStore::lookup(const std::string& identifier) {
  auto itemID = platform_->offers(VLPlatformCapability::ItemIDWithProviderIdentifier)
                    ? VLItemID::makeWithProviderIdentifier(provider_->providerIdentifier(), std::nullopt, identifier)
                    : VLItemID::makeWithProviderID(provider_->providerID(), std::nullopt, identifier);
  auto outcome = simulatedOutcome<VLStoreItemResult>();
  manager_->fetchItemForItemID(itemID, simulatedItemSetter(outcome));
  return outcome->wait();
}

VLStoreItemResult VLSimulatedProviderStore::fetchItem(const std::string& identifier) {
  if (!VLFetchItemOperation::classExists()) return lookup(identifier);
  auto operation = VLFetchItemOperation::make(
      VLItemID::makeWithProviderIdentifier(provider_->providerIdentifier(), std::nullopt, identifier));
  auto outcome = simulatedOutcome<VLStoreItemResult>();
  operation->setFetchCompletionBlock(simulatedItemSetter(outcome));
  manager_->scheduleAction(operation);
  return outcome->wait();
}

VLStoreItemResult VLSimulatedProviderStore::itemAtPath(const std::string& path) {
  auto outcome = simulatedOutcome<VLStoreItemResult>();
  manager_->fetchItemForURL(simulatedURL(path), simulatedItemSetter(outcome));
  return outcome->wait();
}

VLStoreLocation VLSimulatedProviderStore::location(const VLItemRef& item, std::optional<bool> creatingPlaceholder) {
  auto outcome = simulatedOutcome<VLStoreLocation>();
  auto answer = [outcome](std::optional<VLURL> url, VLErrorRef error) {
    VLStoreLocation where;
    if (url) where = {url->path(), url->hasDirectoryPath(), nullptr};
    where.error = std::move(error);
    outcome->set(std::move(where));
  };
  if (creatingPlaceholder) {
    manager_->fetchURLForItem(item, *creatingPlaceholder, answer);
  } else {
    manager_->fetchURLForItem(item, answer);
  }
  return outcome->wait();
}

VLStoreItemsResult VLSimulatedProviderStore::enumerate(const VLProviderScope&) {
  return {{},
          VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported,
                                       "The simulated provider keeps its scopes itself.")};
}

std::shared_ptr<VLProviderScopeFeed> VLSimulatedProviderStore::openScope(const VLProviderScope& scope,
                                                                         std::shared_ptr<VLProviderScopeSink> sink) {
  std::shared_ptr<VLItemCollection> collection;
  switch (scope.kind) {
    case VLProviderScope::Kind::Container:
      collection =
          manager_->collectionWithIdentifier(scope.container, std::nullopt, provider_->providerIdentifier(), {});
      break;
    case VLProviderScope::Kind::WorkingSet:
      collection = manager_->collectionWithIdentifier(KsVaultlineWorkingSetContainerItemIdentifier, std::nullopt,
                                                      provider_->providerIdentifier(), {});
      break;
    case VLProviderScope::Kind::Provider:
      collection = manager_->newCollectionForProvider(provider_->providerID());
      break;
  }
  return VLSimulatedScopeFeed::start(std::move(sink), std::move(collection));
}

VLErrorRef VLSimulatedProviderStore::perform(const std::shared_ptr<VLActionOperation>& action) {
  auto outcome = simulatedOutcome<VLErrorRef>();
  action->setActionCompletionBlock([outcome](VLErrorRef error) { outcome->set(std::move(error)); });
  manager_->scheduleAction(action);
  return outcome->wait();
}

VLStoreCopyResult VLSimulatedProviderStore::importItems(const std::vector<VLStoreSource>& sources,
                                                        const VLItemRef& destination) {
  std::vector<VLURL> urls;
  for (const auto& source : sources) urls.push_back(VLURL::fileURLWithPath(source.path, source.isDirectory));
  auto operation = platform_->offers(VLPlatformCapability::CopyWithURLs)
                       ? VLCopyOperation::makeWithURLs(urls, destination)
                       : VLCopyOperation::makeWithSourceURLs(urls, destination);
  VLStoreCopyResult result;
  result.error = perform(operation);
  for (const auto& [url, made] : operation->transferResults()) {
    if (made) result.created.emplace_back(url.path(), made);
  }
  for (const auto& [url, problem] : operation->errorsByItem()) {
    if (problem) result.failed.emplace_back(url.path(), problem);
  }
  return result;
}

VLStoreItemResult VLSimulatedProviderStore::createFolder(const VLItemRef& parent, const std::string& name) {
  auto operation = VLCreateFolderOperation::make(parent, name);
  auto outcome = simulatedOutcome<VLStoreItemResult>();
  operation->setCreateFolderCompletionBlock(simulatedItemSetter(outcome));
  manager_->scheduleAction(operation);
  return outcome->wait();
}

VLErrorRef VLSimulatedProviderStore::rename(const VLItemRef& item, const std::string& newName) {
  return perform(VLRenameOperation::make(item, newName));
}

VLStoreMoveResult VLSimulatedProviderStore::move(const Items& items, const VLItemRef& destination) {
  auto operation = VLMoveOperation::make(items, destination);
  VLStoreMoveResult result;
  result.error = perform(operation);
  for (const auto& [original, after] : operation->transferResults()) {
    if (original && after) result.moved.emplace_back(original->itemIdentifier(), after);
  }
  return result;
}

VLErrorRef VLSimulatedProviderStore::trash(const Items& items) { return perform(VLTrashOperation::make(items)); }

VLErrorRef VLSimulatedProviderStore::untrash(const Items& items, const VLItemRef& restoreDirectory) {
  return perform(VLUntrashOperation::make(items, restoreDirectory));
}

VLErrorRef VLSimulatedProviderStore::remove(const Items& items) { return perform(VLDeleteOperation::make(items)); }

VLErrorRef VLSimulatedProviderStore::setTags(const Items& items, const std::vector<TagList>& tagLists) {
  return perform(VLSetTagsOperation::make(items, tagLists));
}

VLErrorRef VLSimulatedProviderStore::setFavoriteRanks(const Items& items, const std::vector<int64_t>& ranks) {
  return perform(VLModifyFavoritesOperation::make(items, ranks));
}

VLErrorRef VLSimulatedProviderStore::setLastUsedDate(const Items& items, VLDate date) {
  return perform(VLSetLastOpenDateOperation::make(items, date));
}

VLStoreItemsResult VLSimulatedProviderStore::download(const Items& items) {
  auto operation = VLDownloadOperation::make(items);
  auto outcome = simulatedOutcome<VLStoreItemsResult>();
  operation->setDownloadCompletionBlock([outcome](const std::vector<VLItemRef>& downloaded, VLErrorRef error) {
    outcome->set({downloaded, std::move(error)});
  });
  manager_->scheduleAction(operation);
  return outcome->wait();
}

VLErrorRef VLSimulatedProviderStore::evict(const Items& items) { return perform(VLEvictOperation::make(items)); }

VLStoreThumbnail VLSimulatedProviderStore::thumbnail(const VLItemRef& item, double width, double height, double scale) {
  auto operation = manager_->thumbnailsFetchOperationForItems({item}, VLSize{width, height}, scale);
  auto result = std::make_shared<VLStoreThumbnail>();
  operation->setPerThumbnailCompletionBlock([result](const VLItemRef&, const std::optional<VLData>& data,
                                                     const std::string& format, const VLErrorRef& error) {
    *result = VLStoreThumbnail{data, format, error};
  });
  auto outcome = simulatedOutcome<bool>();
  operation->whenFinished([outcome] { outcome->set(true); });
  VLBackgroundQueue::shared().async([operation] { operation->start(); });
  outcome->wait();
  return *result;
}

VLStoreFileState VLSimulatedProviderStore::fileState(const std::string& path) {
  auto url = simulatedURL(path);
  if (platform_->checkResourceIsReachable(url, nullptr)) return VLStoreFileState::Materialized;
  return platform_->checkPromisedItemIsReachable(url, nullptr) ? VLStoreFileState::Placeholder
                                                               : VLStoreFileState::Absent;
}

VLErrorRef VLSimulatedProviderStore::materialize(const std::string& path) {
  VLErrorRef error;
  if (!platform_->coordinateReading(simulatedURL(path), &error, [](const VLURL&) {})) return error;
  return nullptr;
}

VLStoreServicesResult VLSimulatedProviderStore::services(const std::string& path) {
  auto outcome = simulatedOutcome<VLStoreServicesResult>();
  platform_->getVaultlineServicesForItemAtURL(simulatedURL(path),
                                              [this, outcome](const VLVaultlineServices& services, VLErrorRef error) {
                                                VLStoreServicesResult result;
                                                for (const auto& [name, service] : services) {
                                                  std::lock_guard lock(mutex_);
                                                  std::string token = "service-" + std::to_string(nextService_++);
                                                  services_[token] = service;
                                                  result.services.push_back({name, token});
                                                }
                                                if (error) result = {{}, error};
                                                outcome->set(std::move(result));
                                              });
  return outcome->wait();
}

VLErrorRef VLSimulatedProviderStore::callService(
    const std::string& token,
    const std::function<void(const std::shared_ptr<VLRemoteObjectProxy>&, std::function<void(VLErrorRef)>)>& call) {
  std::shared_ptr<VLVaultlineService> service;
  {
    std::lock_guard lock(mutex_);
    auto found = services_.find(token);
    if (found != services_.end()) service = found->second;
  }
  if (!service) throw VLProviderStoreBadRequest("params.service: no service was listed under \"" + token + "\"");
  auto outcome = simulatedOutcome<VLErrorRef>();
  service->getVaultlineConnectionWithCompletionHandler(
      [outcome, call](std::shared_ptr<VLServiceConnection> connection, VLErrorRef error) {
        auto done = [outcome](VLErrorRef error) { outcome->set(std::move(error)); };
        if (!connection) {
          done(error ? error
                     : VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable,
                                                    "The validation service could not be reached."));
          return;
        }
        connection->setRemoteObjectInterface(KsVaultlineValidationServiceV1ProtocolName);
        connection->resume();
        call(connection->remoteObjectProxyWithErrorHandler(done), done);
      });
  return outcome->wait();
}

VLStoreValidationAnswer VLSimulatedProviderStore::allowValidation(const std::string& token) {
  auto answer = std::make_shared<VLStoreValidationAnswer>();
  VLErrorRef error = callService(token, [answer](const auto& proxy, std::function<void(VLErrorRef)> done) {
    proxy->validation_allowValidation([answer, done](bool allowed, const VLValue::Dictionary& options) {
      answer->allowed = allowed;
      answer->options = options;
      done(nullptr);
    });
  });
  if (error) return {false, {}, error};
  return *answer;
}

VLErrorRef VLSimulatedProviderStore::evictDocument(const std::string& token) {
  return callService(token, [](const auto& proxy, std::function<void(VLErrorRef)> done) {
    proxy->validation_evictDocumentWithCompletionHandler(done);
  });
}

VLErrorRef VLSimulatedProviderStore::shareDocument(const std::string& token) {
  return callService(token, [](const auto& proxy, std::function<void(VLErrorRef)> done) {
    proxy->validation_shareDocumentWithCompletionHandler(done);
  });
}
