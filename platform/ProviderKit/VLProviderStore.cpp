#include "ProviderKit/VLProviderStore.h"

#include <sys/stat.h>

#include "ProviderKit/VLStoreErrors.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "Vaultline/VLConstants.h"

namespace {

// Whether a folder above `item` is in the trash. Bounded, so that a store whose parents form
// a cycle cannot hang the kit.
bool kitUnderTrashedFolder(VLProviderStore& store, const VLItem& item) {
  std::string parent = item.parentItemIdentifier();
  for (int depth = 0; depth < 512 && parent != KsVaultlineRootContainerItemIdentifier; ++depth) {
    auto found = store.lookup(parent);
    if (!found.item) return false;  // the trash, or a parent that is gone
    if (found.item->isTrashed()) return true;
    if (found.item->parentItemIdentifier() == parent) return false;
    parent = found.item->parentItemIdentifier();
  }
  return false;
}

}  // namespace

VLStoreItemResult VLProviderStore::rootItem() { return lookup(KsVaultlineRootContainerItemIdentifier); }

bool VLProviderStore::contains(const VLProviderScope& scope, const VLItem& item) {
  switch (scope.kind) {
    case VLProviderScope::Kind::Container:
      return item.parentItemIdentifier() == scope.container && item.itemIdentifier() != scope.container;
    case VLProviderScope::Kind::WorkingSet:
      if (item.tags().empty() && !item.favoriteRank() && !item.lastUsedDate()) return false;
      return !kitUnderTrashedFolder(*this, item);
    case VLProviderScope::Kind::Provider:
      if (item.itemIdentifier() == KsVaultlineRootContainerItemIdentifier) return false;
      return !kitUnderTrashedFolder(*this, item);
  }
  return false;
}

VLStoreThumbnail VLProviderStore::thumbnail(const VLItemRef&, double, double, double) {
  return {std::nullopt, "", nullptr};
}

VLStoreFileState VLProviderStore::fileState(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? VLStoreFileState::Materialized : VLStoreFileState::Absent;
}

VLErrorRef VLProviderStore::materialize(const std::string&) { return nullptr; }

VLStoreServicesResult VLProviderStore::services(const std::string& path) {
  VLStoreItemResult found = itemAtPath(path);
  if (!found.item) return {{}, found.error ? found.error : VLStoreErrors::noSuchItem(path)};
  return {{{KsVaultlineValidationServiceV1Name, found.item->itemIdentifier()}}, nullptr};
}

VLStoreValidationAnswer VLProviderStore::allowValidation(const std::string&) {
  return {true, {{"IsSyncingProvider", false}, {"HasNoWorkingSet", false}}, nullptr};
}

VLErrorRef VLProviderStore::evictDocument(const std::string& token) {
  VLStoreItemResult found = lookup(token);
  return found.item ? evict({found.item}) : found.error;
}

VLErrorRef VLProviderStore::shareDocument(const std::string&) {
  return VLStoreErrors::notSupported("This provider does not share items.");
}
