// VLSimulatedProviderStore: the simulated provider (or any VLPlatform) as a provider kit
// store. Each method carries out the matching platform call (an item-manager look-up, an
// action operation, a thumbnail operation, the validation service) and waits for its
// completion; every scope is kept by a platform collection (VLSimulatedScopeFeed), so the
// quirks of the simulated collections reach the host unchanged. What the platform reports is
// passed on as it is: the parity tests compare verdicts through the protocol with those in
// process.
//
// Thread-safe: the kit calls it from many threads at once.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ProviderKit/VLProviderStore.h"
#include "Vaultline/VLItemManager.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLVaultlineService.h"

class VLSimulatedProviderStore : public VLProviderStore {
 public:
  VLSimulatedProviderStore(std::shared_ptr<VLPlatform> platform, std::shared_ptr<VLProvider> provider);

  VLProviderIdentity identity() const override;
  VLStoreItemResult rootItem() override;
  VLStoreItemResult lookup(const std::string& identifier) override;
  VLStoreItemResult fetchItem(const std::string& identifier) override;
  VLStoreItemResult itemAtPath(const std::string& path) override;
  VLStoreLocation location(const VLItemRef& item, std::optional<bool> creatingPlaceholder) override;
  // Every scope is kept by a platform collection (openScope), so the kit never enumerates.
  VLStoreItemsResult enumerate(const VLProviderScope& scope) override;
  std::shared_ptr<VLProviderScopeFeed> openScope(const VLProviderScope& scope,
                                                 std::shared_ptr<VLProviderScopeSink> sink) override;

  VLStoreCopyResult importItems(const std::vector<VLStoreSource>& sources, const VLItemRef& destination) override;
  VLStoreItemResult createFolder(const VLItemRef& parent, const std::string& name) override;
  VLErrorRef rename(const VLItemRef& item, const std::string& newName) override;
  VLStoreMoveResult move(const Items& items, const VLItemRef& destination) override;
  VLErrorRef trash(const Items& items) override;
  VLErrorRef untrash(const Items& items, const VLItemRef& restoreDirectory) override;
  VLErrorRef remove(const Items& items) override;
  VLErrorRef setTags(const Items& items, const std::vector<TagList>& tagLists) override;
  VLErrorRef setFavoriteRanks(const Items& items, const std::vector<int64_t>& ranks) override;
  VLErrorRef setLastUsedDate(const Items& items, VLDate date) override;
  VLStoreItemsResult download(const Items& items) override;
  VLErrorRef evict(const Items& items) override;

  VLStoreThumbnail thumbnail(const VLItemRef& item, double width, double height, double scale) override;
  VLStoreFileState fileState(const std::string& path) override;
  VLErrorRef materialize(const std::string& path) override;

  VLStoreServicesResult services(const std::string& path) override;
  VLStoreValidationAnswer allowValidation(const std::string& token) override;
  VLErrorRef evictDocument(const std::string& token) override;
  VLErrorRef shareDocument(const std::string& token) override;

 private:
  // Schedules `action` and returns the error it completes with.
  VLErrorRef perform(const std::shared_ptr<VLActionOperation>& action);
  // Connects to the validation service listed under `token` and hands its proxy to `call`,
  // which must call its argument exactly once with the outcome.
  VLErrorRef callService(const std::string& token,
                         const std::function<void(const std::shared_ptr<class VLRemoteObjectProxy>&,
                                                  std::function<void(VLErrorRef)>)>& call);

  const std::shared_ptr<VLPlatform> platform_;
  const std::shared_ptr<VLItemManager> manager_;
  const std::shared_ptr<VLProvider> provider_;
  std::mutex mutex_;
  std::map<std::string, std::shared_ptr<VLVaultlineService>> services_;  // guarded by mutex_
  uint64_t nextService_ = 1;                                             // guarded by mutex_
};
