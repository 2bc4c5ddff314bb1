#include "ProviderKit/VLProviderStore.h"

#include <fstream>
#include <iterator>

#include "ProviderKit/VLStoreErrors.h"
#include "ProviderKit/VLStorePlaceholders.h"
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

VLStoreThumbnail VLProviderStore::thumbnail(const VLItemRef& item, double, double, double) {
  // A picture's own PNG or JPEG bytes will do: the host scales what it gets.
  VLStoreLocation where = location(item, false);
  if (!where.path || where.isDirectory) return {std::nullopt, "", nullptr};
  std::ifstream file(*where.path, std::ios::binary);
  std::string bytes(8, '\0');
  bytes.resize(static_cast<size_t>(file.read(bytes.data(), 8).gcount()));
  bool png = bytes == "\x89PNG\r\n\x1a\n", jpeg = bytes.rfind("\xFF\xD8\xFF", 0) == 0;
  if (!png && !jpeg) return {std::nullopt, "", nullptr};
  bytes.append(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return {VLData(bytes.data(), bytes.size()), VLThumbnailFormatUndecorated, nullptr};
}

VLStoreFileState VLProviderStore::fileState(const std::string& path) { return VLStorePlaceholders::stateOf(path); }

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
