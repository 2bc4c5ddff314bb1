#include "VLDirProvider.h"

#include <sys/stat.h>

#include "ProviderKit/VLProviderChanges.h"
#include "Vaultline/VLConstants.h"

// Immortal, as the other constants a watcher thread may read while the process exits.
const std::string& VLDirProvider::kProviderIdentifier = *new std::string("org.vaultline.provider.dir");

namespace {
VLErrorRef notSupported(const std::string& text) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported, text);
}

// Runs `each` on every item and returns the first failure: every item is attempted.
template <class Each>
VLErrorRef dirEachItem(const VLProviderStore::Items& items, Each each) {
  VLErrorRef first;
  for (size_t i = 0; i < items.size(); ++i) {
    VLErrorRef error = each(items[i], i);
    if (error && !first) first = error;
  }
  return first;
}

VLDirStore::Scope dirScopeOf(const VLProviderScope& scope) {
  switch (scope.kind) {
    case VLProviderScope::Kind::WorkingSet:
      return VLDirStore::Scope::WorkingSet;
    case VLProviderScope::Kind::Provider:
      return VLDirStore::Scope::Provider;
    default:
      return VLDirStore::Scope::Container;
  }
}
}  // namespace

void VLDirProvider::attach(std::shared_ptr<VLProviderChanges> changes) {
  store_->setChangeHandler([changes](const std::vector<std::string>& identifiers, bool everything) {
    if (everything) {
      changes->everythingChanged();
    } else {
      changes->itemsChanged(identifiers);
    }
  });
}

VLProviderIdentity VLDirProvider::identity() const {
  VLProviderIdentity identity;
  identity.identifier = identity.providerIdentifier = kProviderIdentifier;
  return identity;
}

VLStoreItemResult VLDirProvider::lookup(const std::string& identifier) {
  VLStoreItemResult result;
  result.item = store_->item(identifier, &result.error);
  return result;
}

VLStoreItemResult VLDirProvider::itemAtPath(const std::string& path) {
  VLStoreItemResult result;
  result.item = store_->itemAtPath(path, &result.error);
  return result;
}

VLStoreLocation VLDirProvider::location(const VLItemRef& item, std::optional<bool> creatingPlaceholder) {
  VLStoreLocation result;
  result.path = store_->pathOf(item->itemIdentifier(), &result.isDirectory, &result.error);
  // Content is never elsewhere, so there is no placeholder to make: only what is there counts.
  struct stat status {};
  if (result.path && creatingPlaceholder && lstat(result.path->c_str(), &status) != 0) {
    result.error = VLError::makeWithDescription(VLPOSIXErrorDomain, ENOENT, "No file at " + *result.path);
    result.path.reset();
  }
  return result;
}

VLStoreItemsResult VLDirProvider::enumerate(const VLProviderScope& scope) {
  VLStoreItemsResult result;
  result.items = store_->enumerate(dirScopeOf(scope), scope.container, &result.error);
  return result;
}

bool VLDirProvider::contains(const VLProviderScope& scope, const VLItem& item) {
  return store_->contains(dirScopeOf(scope), scope.container, item);
}

VLStoreCopyResult VLDirProvider::importItems(const std::vector<VLStoreSource>& sources, const VLItemRef& destination) {
  VLStoreCopyResult result;
  for (const auto& source : sources) {
    VLErrorRef error;
    VLItemRef item = store_->importItem(source.path, source.isDirectory, destination->itemIdentifier(), &error);
    if (item) {
      result.created.emplace_back(source.path, item);
    } else {
      result.failed.emplace_back(source.path, error);
      if (!result.error) result.error = error;
    }
  }
  return result;
}

VLStoreItemResult VLDirProvider::createFolder(const VLItemRef& parent, const std::string& name) {
  VLStoreItemResult result;
  result.item = store_->createFolder(parent->itemIdentifier(), name, &result.error);
  return result;
}

VLErrorRef VLDirProvider::rename(const VLItemRef& item, const std::string& newName) {
  return store_->rename(item->itemIdentifier(), newName);
}

VLStoreMoveResult VLDirProvider::move(const Items& items, const VLItemRef& destination) {
  VLStoreMoveResult result;
  result.error = dirEachItem(items, [&](const VLItemRef& item, size_t) {
    VLErrorRef error;
    if (VLItemRef moved = store_->move(item->itemIdentifier(), destination->itemIdentifier(), &error)) {
      result.moved.emplace_back(item->itemIdentifier(), moved);
    }
    return error;
  });
  return result;
}

VLErrorRef VLDirProvider::trash(const Items& items) {
  return dirEachItem(items, [&](const VLItemRef& item, size_t) { return store_->trash(item->itemIdentifier()); });
}

VLErrorRef VLDirProvider::untrash(const Items& items, const VLItemRef& restoreDirectory) {
  std::string restore = restoreDirectory ? restoreDirectory->itemIdentifier() : std::string();
  return dirEachItem(items,
                     [&](const VLItemRef& item, size_t) { return store_->untrash(item->itemIdentifier(), restore); });
}

VLErrorRef VLDirProvider::remove(const Items& items) {
  return dirEachItem(items, [&](const VLItemRef& item, size_t) { return store_->remove(item->itemIdentifier()); });
}

VLErrorRef VLDirProvider::setTags(const Items& items, const std::vector<TagList>& tagLists) {
  return dirEachItem(items,
                     [&](const VLItemRef& item, size_t i) { return store_->setTags(item->itemIdentifier(), tagLists[i]); });
}

VLErrorRef VLDirProvider::setFavoriteRanks(const Items& items, const std::vector<int64_t>& ranks) {
  return dirEachItem(
      items, [&](const VLItemRef& item, size_t i) { return store_->setFavoriteRank(item->itemIdentifier(), ranks[i]); });
}

VLErrorRef VLDirProvider::setLastUsedDate(const Items& items, VLDate date) {
  return dirEachItem(items,
                     [&](const VLItemRef& item, size_t) { return store_->setLastUsedDate(item->itemIdentifier(), date); });
}

VLStoreItemsResult VLDirProvider::download(const Items& items) {
  // Everything is local already: the answer is the items as they are.
  VLStoreItemsResult result;
  result.error = dirEachItem(items, [&](const VLItemRef& item, size_t) {
    VLErrorRef error;
    if (VLItemRef now = store_->item(item->itemIdentifier(), &error)) result.items.push_back(now);
    return error;
  });
  return result;
}

VLErrorRef VLDirProvider::evict(const Items& items) {
  (void)items;
  return notSupported("A local folder keeps every file; there is no other copy to fall back on.");
}

VLStoreThumbnail VLDirProvider::thumbnail(const VLItemRef& item, double, double, double) {
  VLStoreThumbnail result;
  result.data = store_->thumbnail(item->itemIdentifier(), &result.error);
  result.format = VLThumbnailFormatUndecorated;
  return result;
}

VLStoreValidationAnswer VLDirProvider::allowValidation(const std::string& token) {
  (void)token;
  // Said outright rather than left to the kit's default: the cases that only apply to syncing
  // providers depend on it.
  return {true, {{"IsSyncingProvider", false}, {"HasNoWorkingSet", false}}, nullptr};
}

