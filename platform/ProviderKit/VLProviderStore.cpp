#include "ProviderKit/VLProviderStore.h"

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
