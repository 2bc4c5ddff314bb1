// VLDirProvider: a local folder served through the provider kit. It answers the kit's store
// interface from a VLDirStore and passes the store's change reports on to the kit.
//
// The folder holds every file, so this is not a syncing provider: its validation service says
// so, every item is downloaded and uploaded, and eviction is not supported. The root, local
// files and the service listing are the kit's defaults.
// Thread-safe, as the kit requires: every call goes to the store, which has its own lock.
#pragma once

#include <memory>
#include <string>

#include "ProviderKit/VLProviderStore.h"
#include "Vaultline/VLConstants.h"
#include "VLDirStore.h"

class VLDirProvider : public VLProviderStore {
 public:
  // The provider identifier the handshake names.
  static const std::string& kProviderIdentifier;

  // Serves the store `store` (opened with kProviderIdentifier).
  explicit VLDirProvider(std::shared_ptr<VLDirStore> store) : store_(std::move(store)) {}

  void attach(std::shared_ptr<VLProviderChanges> changes) override;
  VLProviderIdentity identity() const override;

  VLStoreItemResult lookup(const std::string& identifier) override;
  VLStoreItemResult itemAtPath(const std::string& path) override;
  VLStoreLocation location(const VLItemRef& item, std::optional<bool> creatingPlaceholder) override;

  VLStoreItemsResult enumerate(const VLProviderScope& scope) override;
  bool contains(const VLProviderScope& scope, const VLItem& item) override;

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

  // The picture's own bytes, bounded so that the answer stays well inside one protocol line.
  VLStoreThumbnail thumbnail(const VLItemRef& item, double width, double height, double scale) override;

  VLStoreValidationAnswer allowValidation(const std::string& token) override;

 private:
  std::shared_ptr<VLDirStore> store_;
};
