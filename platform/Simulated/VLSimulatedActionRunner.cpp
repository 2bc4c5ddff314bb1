#include "Simulated/VLSimulatedActionRunner.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "Core/VLFormat.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLCopyOperation.h"
#include "Vaultline/VLCreateFolderOperation.h"
#include "Vaultline/VLDeleteOperation.h"
#include "Vaultline/VLDownloadOperation.h"
#include "Vaultline/VLEvictOperation.h"
#include "Vaultline/VLFetchItemOperation.h"
#include "Vaultline/VLFileManager.h"
#include "Vaultline/VLModifyFavoritesOperation.h"
#include "Vaultline/VLMoveOperation.h"
#include "Vaultline/VLRenameOperation.h"
#include "Vaultline/VLSetLastOpenDateOperation.h"
#include "Vaultline/VLSetTagsOperation.h"
#include "Vaultline/VLTrashOperation.h"
#include "Vaultline/VLUntrashOperation.h"

namespace fs = std::filesystem;
using Kind = VLSimulatedNode::Kind;
using Quirk = VLSimulatedQuirk;

namespace {

const char* kRecoveredFolderName = "Recovered Items";

VLErrorRef noSuchItem(const std::string& identifier) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                      VLFormat("The item \"%@\" doesn't exist.", identifier));
}

VLErrorRef notSupported(const std::string& text) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported, text);
}

VLErrorRef invalidArgument(const std::string& text) {
  return VLError::makeWithDescription(VLPOSIXErrorDomain, EINVAL, text);
}

// Returns the extension of a file name without its dot ("" for "README" and ".profile").
std::string extensionOf(const std::string& name) {
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? "" : name.substr(dot + 1);
}

bool validName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

// Moves whatever stands for an item on disk (its file or directory, or its placeholder).
void moveOnDisk(const fs::path& from, const fs::path& to) {
  std::error_code ignored;
  if (from == to) return;
  fs::create_directories(to.parent_path(), ignored);
  if (fs::exists(fs::symlink_status(from, ignored))) fs::rename(from, to, ignored);
  fs::path placeholder = VLSimulatedStore::placeholderPath(from);
  if (fs::exists(placeholder, ignored)) fs::rename(placeholder, VLSimulatedStore::placeholderPath(to), ignored);
}

int64_t sizeOnDisk(const fs::path& path) {
  std::error_code ignored;
  if (!fs::is_directory(path, ignored)) return static_cast<int64_t>(fs::file_size(path, ignored));
  int64_t total = 0;
  for (auto it = fs::recursive_directory_iterator(path, ignored); it != fs::recursive_directory_iterator(); ++it) {
    if (it->is_regular_file(ignored)) total += static_cast<int64_t>(it->file_size(ignored));
  }
  return total;
}

// Damages stored bytes the way a faulty provider might: the first byte flipped.
void corrupt(const fs::path& file) {
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  char first = 0;
  if (stream.get(first)) {
    stream.seekp(0);
    stream.put(static_cast<char>(first ^ 0x5A));
  } else {
    stream.clear();
    stream.put('!');
  }
}

}  // namespace

std::shared_ptr<VLSimulatedActionRunner> VLSimulatedActionRunner::make(std::shared_ptr<VLSimulatedStore> store, Later later) {
  return std::shared_ptr<VLSimulatedActionRunner>(new VLSimulatedActionRunner(std::move(store), std::move(later)));
}

std::function<void()> VLSimulatedActionRunner::perform(const std::shared_ptr<VLActionOperation>& action) {
  auto lock = store_->lock();
  auto complete = performLocked(action);
  store_->publishLocked();
  return complete;
}

std::function<void()> VLSimulatedActionRunner::performLocked(const std::shared_ptr<VLActionOperation>& action) {
  auto done = [action](VLErrorRef error) { return [action, error] { action->completeWithError(error); }; };
  if (auto copy = std::dynamic_pointer_cast<VLCopyOperation>(action)) return copyLocked(copy);
  if (auto create = std::dynamic_pointer_cast<VLCreateFolderOperation>(action)) return createFolderLocked(create);
  if (auto rename = std::dynamic_pointer_cast<VLRenameOperation>(action)) return done(renameLocked(*rename));
  if (auto move = std::dynamic_pointer_cast<VLMoveOperation>(action)) return moveLocked(move);
  if (auto trash = std::dynamic_pointer_cast<VLTrashOperation>(action)) return done(trashLocked(trash->items()));
  if (auto untrash = std::dynamic_pointer_cast<VLUntrashOperation>(action)) {
    return done(untrashLocked(untrash->items(), untrash->restoreDirectory()));
  }
  if (auto remove = std::dynamic_pointer_cast<VLDeleteOperation>(action)) return done(deleteLocked(remove->items()));
  if (auto download = std::dynamic_pointer_cast<VLDownloadOperation>(action)) return downloadLocked(download);
  if (auto fetch = std::dynamic_pointer_cast<VLFetchItemOperation>(action)) {
    VLSimulatedNode* node = fetch->itemID() ? store_->nodeForItemIDLocked(*fetch->itemID()) : nullptr;
    VLItemRef item = node ? store_->lookupSnapshotLocked(*node) : nullptr;
    VLErrorRef error = node ? nullptr : noSuchItem(fetch->itemID() ? fetch->itemID()->itemIdentifier() : "(null)");
    return [fetch, item, error] { fetch->completeWithItem(item, error); };
  }
  if (auto evict = std::dynamic_pointer_cast<VLEvictOperation>(action)) {
    VLErrorRef first;
    for (const auto& item : evict->items()) {
      VLErrorRef error;
      VLSimulatedNode* node = nodeLocked(item, &error);
      if (node) error = evictLocked(*node);
      if (!first) first = error;
    }
    return done(first);
  }
  if (auto tags = std::dynamic_pointer_cast<VLSetTagsOperation>(action)) {
    if (tags->items().size() != tags->tagsLists().size()) {
      return done(invalidArgument(VLFormat("%lu tag lists for %lu items", tags->tagsLists().size(), tags->items().size())));
    }
    VLErrorRef first;
    for (size_t i = 0; i < tags->items().size(); ++i) {
      VLErrorRef error;
      VLSimulatedNode* node = nodeLocked(tags->items()[i], &error);
      if (!node) {
        if (!first) first = error;
        continue;
      }
      if (store_->settings().has(Quirk::TagsDropped)) continue;
      node->tags = tags->tagsLists()[i];
      store_->touchLocked(*node);
    }
    return done(first);
  }
  if (auto favorites = std::dynamic_pointer_cast<VLModifyFavoritesOperation>(action)) {
    if (favorites->itemsToFavorite().size() != favorites->favoriteRanks().size()) {
      return done(invalidArgument(VLFormat("%lu ranks for %lu items", favorites->favoriteRanks().size(),
                                           favorites->itemsToFavorite().size())));
    }
    VLErrorRef first;
    for (size_t i = 0; i < favorites->itemsToFavorite().size(); ++i) {
      VLErrorRef error;
      VLSimulatedNode* node = nodeLocked(favorites->itemsToFavorite()[i], &error);
      if (!node) {
        if (!first) first = error;
        continue;
      }
      node->favoriteRank = favorites->favoriteRanks()[i];
      store_->touchLocked(*node);
    }
    return done(first);
  }
  if (auto lastOpen = std::dynamic_pointer_cast<VLSetLastOpenDateOperation>(action)) {
    double offset = store_->settings().has(Quirk::LastUsedDateOffset) ? 2.0 : 0.0;
    VLErrorRef first;
    for (const auto& item : lastOpen->items()) {
      VLErrorRef error;
      VLSimulatedNode* node = nodeLocked(item, &error);
      if (!node) {
        if (!first) first = error;
        continue;
      }
      node->lastUsedDate = lastOpen->date().dateByAddingTimeInterval(offset);
      store_->touchLocked(*node);
    }
    return done(first);
  }
  return done(notSupported("The simulated provider does not support " + action->className() + "."));
}

VLSimulatedNode* VLSimulatedActionRunner::nodeLocked(const VLItemRef& item, VLErrorRef* error) {
  if (!item) {
    *error = invalidArgument("No item was given.");
    return nullptr;
  }
  VLSimulatedNode* node = store_->nodeLocked(item->itemIdentifier());
  if (!node) *error = noSuchItem(item->itemIdentifier());
  return node;
}

VLSimulatedNode* VLSimulatedActionRunner::containerLocked(const VLItemRef& item, VLErrorRef* error) {
  VLSimulatedNode* node = nodeLocked(item, error);
  if (node && !node->isContainer()) {
    *error = notSupported(VLFormat("The item \"%@\" is not a folder.", node->filename));
    return nullptr;
  }
  return node;
}

VLErrorRef VLSimulatedActionRunner::collisionLocked(const std::string& parent, const std::string& name,
                                                     const std::string& except) {
  if (store_->settings().has(Quirk::NoCollisionCheck)) return nullptr;
  VLSimulatedNode* existing = store_->clashingChildLocked(parent, name, except);
  if (!existing) return nullptr;
  VLItemRef reported = store_->snapshotLocked(*existing);
  if (store_->settings().has(Quirk::CollisionNamesOtherItem)) {
    if (VLSimulatedNode* folder = store_->nodeLocked(parent)) reported = store_->snapshotLocked(*folder);
  }
  return VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorFilenameCollision,
                       {{VLLocalizedDescriptionKey,
                         VLFormat("An item named \"%@\" already exists in this location.", existing->filename)},
                        {KsVaultlineErrorItem, reported}});
}

std::string VLSimulatedActionRunner::typeForFileLocked(const std::string& name) const {
  if (store_->settings().has(Quirk::AllFilesPublicData)) return "public.data";
  return store_->types().preferredIdentifierForExtension(extensionOf(name), std::string("public.data"));
}

VLSimulatedNode* VLSimulatedActionRunner::importLocked(const std::string& source, const std::string& parent,
                                                       const std::string& name, VLErrorRef* error) {
  std::error_code code;
  auto status = fs::status(source, code);
  if (!fs::exists(status)) {
    *error = VLFileManager::posixError(ENOENT, VLURL::fileURLWithPath(source, false));
    return nullptr;
  }
  VLSimulatedNode node;
  node.parent = parent;
  node.filename = name;
  node.creationDate = node.modificationDate = VLDate::now();
  std::string extension = extensionOf(name);
  std::string packageType = store_->types().preferredIdentifierForExtension(extension, VLPackageTypeIdentifier);
  if (fs::is_directory(status) && (extension.empty() || !store_->types().isDeclared(packageType))) {
    node.kind = Kind::Folder;
    node.typeIdentifier = "public.folder";
    node.uploaded = true;
    VLSimulatedNode& folder = store_->addNodeLocked(std::move(node));
    std::string identifier = folder.identifier;
    fs::create_directories(store_->pathLocked(folder), code);
    std::vector<fs::path> entries;
    for (const auto& entry : fs::directory_iterator(source, code)) entries.push_back(entry.path());
    std::sort(entries.begin(), entries.end());
    for (const auto& entry : entries) {
      std::string childName = store_->uniqueNameLocked(identifier, entry.filename().string());
      if (!importLocked(entry.string(), identifier, childName, error)) return nullptr;
    }
    store_->refreshChildCountLocked(parent);
    return store_->nodeLocked(identifier);
  }
  VLSimulatedNode* container = store_->nodeLocked(parent);
  fs::path target = store_->pathLocked(*container) / name;
  if (fs::is_directory(status)) {
    node.kind = Kind::Package;
    node.typeIdentifier = store_->settings().has(Quirk::AllFilesPublicData) ? "public.data" : packageType;
    fs::copy(source, target, fs::copy_options::recursive | fs::copy_options::overwrite_existing, code);
  } else {
    node.kind = Kind::File;
    node.typeIdentifier = typeForFileLocked(name);
    fs::copy_file(source, target, fs::copy_options::overwrite_existing, code);
    if (!code && store_->settings().has(Quirk::CorruptContent)) corrupt(target);
  }
  if (code) {
    *error = VLFileManager::posixError(code.value(), VLURL::fileURLWithPath(source, false));
    return nullptr;
  }
  node.documentSize = sizeOnDisk(target);
  VLSimulatedNode& added = store_->addNodeLocked(std::move(node));
  scheduleUploadLocked(added);
  store_->refreshChildCountLocked(parent);
  return &added;
}

void VLSimulatedActionRunner::scheduleUploadLocked(VLSimulatedNode& node) {
  const auto& settings = store_->settings();
  if (!settings.syncing) {
    node.uploaded = true;
    return;
  }
  if (settings.has(Quirk::NeverUpload)) return;
  node.uploading = true;
  std::weak_ptr<VLSimulatedActionRunner> weak = shared_from_this();
  later_(settings.uploadLatency, [weak, identifier = node.identifier] {
    if (auto self = weak.lock()) self->finishUpload(identifier);
  });
}

void VLSimulatedActionRunner::finishUpload(const std::string& identifier) {
  auto lock = store_->lock();
  VLSimulatedNode* node = store_->nodeLocked(identifier);
  if (!node || !node->uploading) return;
  std::error_code ignored;
  fs::path server = store_->serverCopyPath(node->identifier);
  fs::remove_all(server, ignored);
  fs::copy(store_->pathLocked(*node), server, fs::copy_options::recursive, ignored);
  node->uploading = false;
  node->uploaded = true;
  store_->touchLocked(*node);
  store_->publishLocked();
}

std::function<void()> VLSimulatedActionRunner::copyLocked(const std::shared_ptr<VLCopyOperation>& action) {
  VLCopyOperation::TransferResults results;
  VLCopyOperation::ErrorsByItem errors;
  VLErrorRef overall;
  VLSimulatedNode* destination = containerLocked(action->destinationFolder(), &overall);
  std::string parent = destination ? destination->identifier : "";
  for (const auto& url : action->urls()) {
    if (!destination) {
      errors[url] = overall;
      continue;
    }
    std::string name = url.lastPathComponent();
    VLErrorRef error = collisionLocked(parent, name);
    if (!error) {
      if (store_->settings().has(Quirk::NoCollisionCheck)) name = store_->uniqueNameLocked(parent, name);
      if (VLSimulatedNode* node = importLocked(url.path(), parent, name, &error)) {
        results[url] = store_->snapshotLocked(*node);
        continue;
      }
    }
    errors[url] = error;
    if (!overall) overall = error;
  }
  action->setResults(std::move(results), std::move(errors));
  return [action, overall] { action->completeWithError(overall); };
}

std::function<void()> VLSimulatedActionRunner::createFolderLocked(const std::shared_ptr<VLCreateFolderOperation>& action) {
  VLErrorRef error;
  VLItemRef created;
  VLSimulatedNode* parent = containerLocked(action->parentItem(), &error);
  std::string name = action->folderName();
  if (parent && !validName(name)) error = invalidArgument(VLFormat("\"%@\" is not a valid folder name.", name));
  if (parent && !error) error = collisionLocked(parent->identifier, name);
  if (parent && !error) {
    name = store_->uniqueNameLocked(parent->identifier, name);
    VLSimulatedNode node;
    node.parent = parent->identifier;
    node.filename = name;
    node.kind = Kind::Folder;
    node.typeIdentifier = "public.folder";
    node.creationDate = node.modificationDate = VLDate::now();
    node.uploaded = true;
    VLSimulatedNode& added = store_->addNodeLocked(std::move(node));
    std::error_code ignored;
    fs::create_directories(store_->pathLocked(added), ignored);
    store_->refreshChildCountLocked(added.parent);
    created = store_->snapshotLocked(added);
  }
  return [action, created, error] { action->completeWithItem(created, error); };
}

VLErrorRef VLSimulatedActionRunner::reparentLocked(VLSimulatedNode& node, const std::string& parent, const std::string& name) {
  fs::path from = store_->pathLocked(node);
  std::string oldParent = node.parent;
  node.filename = name;
  node.formerParent = store_->settings().has(Quirk::MoveOutAsUpdate) && oldParent != parent ? oldParent : "";
  store_->setParentLocked(node, parent);
  moveOnDisk(from, store_->pathLocked(node));
  store_->refreshChildCountLocked(oldParent);
  store_->refreshChildCountLocked(parent);
  return nullptr;
}

VLErrorRef VLSimulatedActionRunner::renameLocked(const VLRenameOperation& action) {
  VLErrorRef error;
  VLSimulatedNode* node = nodeLocked(action.item(), &error);
  if (!node) return error;
  if (node->kind == Kind::Root) return notSupported("The root container cannot be renamed.");
  std::string name = action.newName();
  if (!validName(name)) return invalidArgument(VLFormat("\"%@\" is not a valid name.", name));
  if ((error = collisionLocked(node->parent, name, node->identifier))) return error;
  if (store_->settings().has(Quirk::NoCollisionCheck) && store_->clashingChildLocked(node->parent, name, node->identifier)) {
    name = store_->uniqueNameLocked(node->parent, name);
  }
  fs::path from = store_->pathLocked(*node);
  if (store_->settings().has(Quirk::RenameChangesIdentifier)) {
    std::string old = node->identifier;
    node = &store_->reidentifyLocked(old);
    std::error_code ignored;
    fs::rename(store_->serverCopyPath(old), store_->serverCopyPath(node->identifier), ignored);
  }
  node->filename = name;
  if (node->kind == Kind::File) {
    node->typeIdentifier = typeForFileLocked(name);
    if (store_->settings().has(Quirk::RenameMarksNotDownloaded)) node->reportNotDownloaded = true;
  }
  store_->touchLocked(*node);
  moveOnDisk(from, store_->pathLocked(*node));
  return nullptr;
}

std::function<void()> VLSimulatedActionRunner::moveLocked(const std::shared_ptr<VLMoveOperation>& action) {
  VLErrorRef first;
  VLMoveOperation::TransferResults results;
  VLSimulatedNode* destination = containerLocked(action->destinationFolder(), &first);
  for (const auto& item : action->items()) {
    if (!destination) break;
    VLErrorRef error;
    VLSimulatedNode* node = nodeLocked(item, &error);
    if (node && node->kind == Kind::Root) error = notSupported("The root container cannot be moved.");
    if (node && !error && store_->isAncestorLocked(node->identifier, *destination)) {
      error = invalidArgument(VLFormat("Cannot move \"%@\" into itself.", node->filename));
    }
    if (node && !error && node->parent != destination->identifier) {
      error = collisionLocked(destination->identifier, node->filename, node->identifier);
      if (!error) reparentLocked(*node, destination->identifier, store_->uniqueNameLocked(destination->identifier, node->filename));
    }
    if (error) {
      if (!first) first = error;
      continue;
    }
    results.emplace_back(item, store_->snapshotLocked(*node));
  }
  action->setTransferResults(std::move(results));
  return [action, first] { action->completeWithError(first); };
}

VLErrorRef VLSimulatedActionRunner::trashLocked(const std::vector<VLItemRef>& items) {
  VLErrorRef first;
  for (const auto& item : items) {
    VLErrorRef error;
    VLSimulatedNode* node = nodeLocked(item, &error);
    if (node && node->kind == Kind::Root) error = notSupported("The root container cannot be trashed.");
    if (error) {
      if (!first) first = error;
      continue;
    }
    if (node->trashed) continue;
    fs::path from = store_->pathLocked(*node);
    std::string oldParent = node->parent;
    node->trashedFrom = oldParent;
    node->trashed = true;
    node->formerParent.clear();
    store_->setParentLocked(*node, VLSimulatedTrashContainerIdentifier);
    moveOnDisk(from, store_->pathLocked(*node));
    store_->refreshChildCountLocked(oldParent);
  }
  return first;
}

VLErrorRef VLSimulatedActionRunner::untrashLocked(const std::vector<VLItemRef>& items, const VLItemRef& restoreDirectory) {
  VLErrorRef first;
  VLSimulatedNode* restore = restoreDirectory ? containerLocked(restoreDirectory, &first) : nullptr;
  if (restoreDirectory && !restore) return first;
  for (const auto& item : items) {
    VLErrorRef error;
    VLSimulatedNode* node = nodeLocked(item, &error);
    if (!node) {
      if (!first) first = error;
      continue;
    }
    if (!node->trashed) continue;
    std::string target = restore ? restore->identifier : node->trashedFrom;
    VLSimulatedNode* original = store_->nodeLocked(target);
    if (!original || !original->isContainer() || store_->isInTrashLocked(*original)) {
      target = KsVaultlineRootContainerItemIdentifier;
    }
    if (!restore && store_->settings().has(Quirk::UntrashElsewhere)) {
      VLSimulatedNode* recovered = store_->clashingChildLocked(KsVaultlineRootContainerItemIdentifier, kRecoveredFolderName);
      if (!recovered || !recovered->isContainer()) {
        VLSimulatedNode folder;
        folder.parent = KsVaultlineRootContainerItemIdentifier;
        folder.filename = store_->uniqueNameLocked(folder.parent, kRecoveredFolderName);
        folder.kind = Kind::Folder;
        folder.typeIdentifier = "public.folder";
        folder.creationDate = folder.modificationDate = VLDate::now();
        folder.uploaded = true;
        recovered = &store_->addNodeLocked(std::move(folder));
        std::error_code ignored;
        fs::create_directories(store_->pathLocked(*recovered), ignored);
        store_->refreshChildCountLocked(KsVaultlineRootContainerItemIdentifier);
      }
      target = recovered->identifier;
    }
    node->trashed = false;
    node->trashedFrom.clear();
    reparentLocked(*node, target, store_->uniqueNameLocked(target, node->filename));
    if (store_->settings().has(Quirk::UntrashDetachesChildren)) {
      for (const auto& child : store_->childrenLocked(node->identifier)) {
        VLSimulatedNode* kid = store_->nodeLocked(child);
        reparentLocked(*kid, target, store_->uniqueNameLocked(target, kid->filename));
      }
    }
  }
  return first;
}

VLErrorRef VLSimulatedActionRunner::deleteLocked(const std::vector<VLItemRef>& items) {
  VLErrorRef first;
  for (const auto& item : items) {
    VLErrorRef error;
    VLSimulatedNode* node = nodeLocked(item, &error);
    if (node && node->kind == Kind::Root) error = notSupported("The root container cannot be deleted.");
    if (error) {
      if (!first) first = error;
      continue;
    }
    std::vector<std::string> subtree{node->identifier};
    for (size_t i = 0; i < subtree.size(); ++i) {
      for (const auto& child : store_->childrenLocked(subtree[i])) subtree.push_back(child);
    }
    std::error_code ignored;
    for (size_t i = 0; i < subtree.size(); ++i) {
      VLSimulatedNode* doomed = store_->nodeLocked(subtree[i]);
      if (i > 0 && store_->settings().has(Quirk::DeleteLeavesChildrenFetchable)) {
        store_->addGhostLocked(store_->pathLocked(*doomed), store_->snapshotLocked(*doomed));
      }
      fs::remove_all(store_->serverCopyPath(doomed->identifier), ignored);
    }
    fs::path path = store_->pathLocked(*node);
    fs::remove_all(path, ignored);
    fs::remove(VLSimulatedStore::placeholderPath(path), ignored);
    if (node->trashed) fs::remove_all(path.parent_path(), ignored);
    std::string parent = node->parent;
    for (auto it = subtree.rbegin(); it != subtree.rend(); ++it) store_->removeNodeLocked(*it);
    store_->refreshChildCountLocked(parent);
  }
  return first;
}

std::function<void()> VLSimulatedActionRunner::downloadLocked(const std::shared_ptr<VLDownloadOperation>& action) {
  VLErrorRef first;
  std::vector<VLItemRef> downloaded;
  for (const auto& item : action->items()) {
    VLErrorRef error;
    VLSimulatedNode* node = nodeLocked(item, &error);
    if (node && (!node->downloaded || node->reportNotDownloaded)) {
      fs::path path = store_->pathLocked(*node);
      fs::path server = store_->serverCopyPath(node->identifier);
      std::error_code code;
      if (!node->downloaded) {
        fs::copy(server, path, fs::copy_options::recursive | fs::copy_options::overwrite_existing, code);
        if (code) error = VLFileManager::posixError(code.value(), VLURL::fileURLWithPath(server.string(), false));
      }
      if (!error) {
        fs::remove(VLSimulatedStore::placeholderPath(path), code);
        node->downloaded = true;
        node->reportNotDownloaded = false;
        store_->touchLocked(*node);
      }
    }
    if (error) {
      if (!first) first = error;
      continue;
    }
    downloaded.push_back(store_->snapshotLocked(*node));
  }
  return [action, downloaded, first] { action->completeWithItems(downloaded, first); };
}

VLErrorRef VLSimulatedActionRunner::evictLocked(VLSimulatedNode& node) {
  if (!store_->settings().syncing) return notSupported("A provider that does not sync cannot evict local copies.");
  if (node.kind != Kind::File && node.kind != Kind::Package) {
    return notSupported(VLFormat("\"%@\" is not a document; only documents can be evicted.", node.filename));
  }
  if (!node.uploaded) {
    return notSupported(VLFormat("\"%@\" cannot be evicted before it has been uploaded.", node.filename));
  }
  if (!node.downloaded) return nullptr;
  if (!store_->settings().has(Quirk::EvictionKeepsContent)) {
    std::error_code ignored;
    fs::remove_all(store_->pathLocked(node), ignored);
  }
  node.downloaded = false;
  store_->touchLocked(node);
  return nullptr;
}

VLErrorRef VLSimulatedActionRunner::evict(const std::string& identifier) {
  auto lock = store_->lock();
  VLSimulatedNode* node = store_->nodeLocked(identifier);
  if (!node) return noSuchItem(identifier);
  VLErrorRef error = evictLocked(*node);
  store_->publishLocked();
  return error;
}

VLErrorRef VLSimulatedActionRunner::share(const std::string& identifier) {
  auto lock = store_->lock();
  VLSimulatedNode* node = store_->nodeLocked(identifier);
  if (!node) return noSuchItem(identifier);
  if (!node->shared) {
    node->shared = true;
    store_->touchLocked(*node);
    store_->publishLocked();
  }
  return nullptr;
}

bool VLSimulatedActionRunner::materialize(const std::string& path, VLErrorRef* error) {
  auto lock = store_->lock();
  VLSimulatedNode* node = store_->nodeForPathLocked(path);
  if (!node || node->downloaded) return true;
  std::error_code code;
  fs::copy(store_->serverCopyPath(node->identifier), path, fs::copy_options::recursive | fs::copy_options::overwrite_existing, code);
  if (code) {
    if (error) *error = VLFileManager::posixError(code.value(), VLURL::fileURLWithPath(path, false));
    return false;
  }
  fs::remove(VLSimulatedStore::placeholderPath(path), code);
  node->downloaded = true;
  store_->touchLocked(*node);
  store_->publishLocked();
  return true;
}
