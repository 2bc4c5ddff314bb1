#include "Simulated/VLSimulatedActionRunner.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "Core/VLFormat.h"
#include "Simulated/VLSimulatedErrors.h"
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

namespace {

const char* kRecoveredFolderName = "Recovered Items";

// Moves whatever stands for an item on disk (its file or directory, or its placeholder).
// Content that must be local (`mustExist`) and is missing is an error too: the move would
// otherwise report success after losing it.
std::error_code moveOnDisk(const fs::path& from, const fs::path& to, bool mustExist) {
  std::error_code code;
  if (from == to) return code;
  bool present = fs::exists(fs::symlink_status(from, code));
  fs::path placeholder = VLSimulatedStore::placeholderPath(from);
  bool promised = fs::exists(placeholder, code);
  if (!present && mustExist) return std::make_error_code(std::errc::no_such_file_or_directory);
  if (!present && !promised) return {};
  if (fs::create_directories(to.parent_path(), code); code) return code;
  if (present) fs::rename(from, to, code);
  if (!code && promised) fs::rename(placeholder, VLSimulatedStore::placeholderPath(to), code);
  return code;
}

// Whether an item's bytes (or its directory) must be on disk.
bool isLocal(const VLSimulatedNode& node) { return node.isContainer() || node.downloaded; }

VLErrorRef diskError(const std::error_code& code, const fs::path& path) {
  return VLFileManager::posixError(code.value(), VLURL::fileURLWithPath(path.string(), false));
}

// Marks every descendant of `identifier` changed: they went into or out of the trash with
// it, and a provider reports such items again, whether or not it still lists them.
void touchDescendantsLocked(VLSimulatedStore& store, const std::string& identifier) {
  auto subtree = store.subtreeLocked(identifier);
  for (size_t i = 1; i < subtree.size(); ++i) {
    if (VLSimulatedNode* node = store.nodeLocked(subtree[i])) store.touchLocked(*node);
  }
}

}  // namespace

std::shared_ptr<VLSimulatedActionRunner> VLSimulatedActionRunner::make(std::shared_ptr<VLSimulatedStore> store,
                                                                       Later later) {
  auto importer = VLSimulatedImporter::make(store, std::move(later));
  return std::shared_ptr<VLSimulatedActionRunner>(new VLSimulatedActionRunner(std::move(store), std::move(importer)));
}

std::function<void()> VLSimulatedActionRunner::perform(const std::shared_ptr<VLActionOperation>& action) {
  auto lock = store_->lock();
  auto complete = performLocked(action);
  store_->publishLocked();
  return complete;
}

std::function<void()> VLSimulatedActionRunner::performLocked(const std::shared_ptr<VLActionOperation>& action) {
  auto done = [action](VLErrorRef error) { return [action, error] { action->completeWithError(error); }; };
  if (auto copy = std::dynamic_pointer_cast<VLCopyOperation>(action)) return importer_->copyLocked(copy);
  if (auto create = std::dynamic_pointer_cast<VLCreateFolderOperation>(action))
    return importer_->createFolderLocked(create);
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
    VLErrorRef error =
        node ? nullptr : VLSimulatedErrors::noSuchItem(fetch->itemID() ? fetch->itemID()->itemIdentifier() : "(null)");
    return [fetch, item, error] { fetch->completeWithItem(item, error); };
  }
  if (auto evict = std::dynamic_pointer_cast<VLEvictOperation>(action)) {
    return done(forEachNodeLocked(evict->items(), [this](VLSimulatedNode& node, size_t) { return evictLocked(node); }));
  }
  if (auto tags = std::dynamic_pointer_cast<VLSetTagsOperation>(action)) {
    if (tags->items().size() != tags->tagsLists().size()) {
      return done(VLSimulatedErrors::invalidArgument(
          VLFormat("%lu tag lists for %lu items", tags->tagsLists().size(), tags->items().size())));
    }
    for (const auto& list : tags->tagsLists()) {
      if (std::find(list.begin(), list.end(), nullptr) != list.end()) {
        return done(VLSimulatedErrors::invalidArgument("A tag list holds a null tag."));
      }
    }
    return done(forEachNodeLocked(tags->items(), [this, &tags](VLSimulatedNode& node, size_t i) -> VLErrorRef {
      if (store_->quirks().dropsTags()) return nullptr;
      node.tags = tags->tagsLists()[i];
      store_->touchLocked(node);
      return nullptr;
    }));
  }
  if (auto favorites = std::dynamic_pointer_cast<VLModifyFavoritesOperation>(action)) {
    if (favorites->itemsToFavorite().size() != favorites->favoriteRanks().size()) {
      return done(VLSimulatedErrors::invalidArgument(
          VLFormat("%lu ranks for %lu items", favorites->favoriteRanks().size(), favorites->itemsToFavorite().size())));
    }
    return done(forEachNodeLocked(favorites->itemsToFavorite(),
                                  [this, &favorites](VLSimulatedNode& node, size_t i) -> VLErrorRef {
                                    node.favoriteRank = favorites->favoriteRanks()[i];
                                    store_->touchLocked(node);
                                    return nullptr;
                                  }));
  }
  if (auto lastOpen = std::dynamic_pointer_cast<VLSetLastOpenDateOperation>(action)) {
    double offset = store_->quirks().shiftsLastUsedDates() ? 2.0 : 0.0;
    return done(forEachNodeLocked(lastOpen->items(), [&](VLSimulatedNode& node, size_t) -> VLErrorRef {
      node.lastUsedDate = lastOpen->date().dateByAddingTimeInterval(offset);
      store_->touchLocked(node);
      return nullptr;
    }));
  }
  return done(VLSimulatedErrors::notSupported("The simulated provider does not support " + action->className() + "."));
}

VLErrorRef VLSimulatedActionRunner::reparentLocked(VLSimulatedNode& node, const std::string& parent,
                                                   const std::string& name) {
  // The bytes move first, so that a failed move changes nothing.
  fs::path from = store_->pathLocked(node);
  fs::path to = store_->childPathLocked(parent, node.identifier, name);
  if (auto code = moveOnDisk(from, to, isLocal(node))) return diskError(code, from);
  if (node.parent == VLSimulatedTrashContainerIdentifier && parent != node.parent) {
    std::error_code ignored;
    fs::remove(from.parent_path(), ignored);  // the item's own folder inside the trash
  }
  std::string oldParent = node.parent;
  node.filename = name;
  node.formerParent = store_->quirks().showsMoveOutAsUpdate() && oldParent != parent ? oldParent : "";
  store_->setParentLocked(node, parent);
  // Untrash or a move out of the trash: the descendants come out with the item.
  if (oldParent == VLSimulatedTrashContainerIdentifier) touchDescendantsLocked(*store_, node.identifier);
  store_->refreshChildCountLocked(oldParent);
  store_->refreshChildCountLocked(parent);
  return nullptr;
}

VLErrorRef VLSimulatedActionRunner::renameLocked(const VLRenameOperation& action) {
  VLErrorRef error;
  VLSimulatedNode* node = store_->nodeForItemLocked(action.item(), &error);
  if (!node) return error;
  if (node->kind == Kind::Root) return VLSimulatedErrors::notSupported("The root container cannot be renamed.");
  if (store_->quirks().refusesRenames())
    return VLSimulatedErrors::notSupported(VLFormat("\"%@\" cannot be renamed.", node->filename));
  std::string name = action.newName();
  if (!VLSimulatedStore::isValidName(name))
    return VLSimulatedErrors::invalidArgument(VLFormat("\"%@\" is not a valid name.", name));
  if ((error = store_->collisionErrorLocked(node->parent, name, node->identifier))) return error;
  if (store_->quirks().skipsCollisionCheck() && store_->clashingChildLocked(node->parent, name, node->identifier)) {
    name = store_->uniqueNameLocked(node->parent, name);
  }
  fs::path from = store_->pathLocked(*node);
  fs::path to = store_->childPathLocked(node->parent, node->identifier, name);
  if (auto code = moveOnDisk(from, to, isLocal(*node))) return diskError(code, from);
  if (store_->quirks().renameChangesIdentifier()) {
    std::string old = node->identifier;
    node = &store_->reidentifyLocked(old);
    std::error_code ignored;
    fs::rename(store_->serverCopyPath(old), store_->serverCopyPath(node->identifier), ignored);
    if (node->parent == VLSimulatedTrashContainerIdentifier) {
      fs::rename(from.parent_path(), from.parent_path().parent_path() / node->identifier, ignored);
    }
  }
  node->filename = name;
  if (node->kind == Kind::File) {
    node->typeIdentifier = store_->fileTypeLocked(name);
    if (store_->quirks().renameMarksNotDownloaded()) node->reportNotDownloaded = true;
  }
  store_->touchLocked(*node);
  return nullptr;
}

std::function<void()> VLSimulatedActionRunner::moveLocked(const std::shared_ptr<VLMoveOperation>& action) {
  VLErrorRef first;
  VLMoveOperation::TransferResults results;
  VLSimulatedNode* destination = store_->containerForItemLocked(action->destinationFolder(), &first);
  for (const auto& item : action->items()) {
    if (!destination) break;
    VLErrorRef error;
    VLSimulatedNode* node = store_->nodeForItemLocked(item, &error);
    if (node && node->kind == Kind::Root)
      error = VLSimulatedErrors::notSupported("The root container cannot be moved.");
    if (node && !error && store_->isAncestorLocked(node->identifier, *destination)) {
      error = VLSimulatedErrors::invalidArgument(VLFormat("Cannot move \"%@\" into itself.", node->filename));
    }
    std::string formerParent = node ? node->parent : "";
    if (node && !error && node->parent != destination->identifier) {
      error = store_->collisionErrorLocked(destination->identifier, node->filename, node->identifier);
      if (!error) {
        error = reparentLocked(*node, destination->identifier,
                               store_->uniqueNameLocked(destination->identifier, node->filename));
      }
    }
    if (error) {
      if (!first) first = error;
      continue;
    }
    VLItemRef after = store_->snapshotLocked(*node);
    if (store_->quirks().moveReportsOldParent()) {
      VLItemAttributes a = after->attributes();
      a.parentItemIdentifier = formerParent;
      after = VLItem::make(std::move(a));
    }
    results.emplace_back(item, after);
  }
  action->setTransferResults(std::move(results));
  return [action, first] { action->completeWithError(first); };
}

VLErrorRef VLSimulatedActionRunner::forEachNodeLocked(
    const std::vector<VLItemRef>& items, const std::function<VLErrorRef(VLSimulatedNode& node, size_t index)>& apply) {
  VLErrorRef first;
  for (size_t i = 0; i < items.size(); ++i) {
    VLErrorRef error;
    VLSimulatedNode* node = store_->nodeForItemLocked(items[i], &error);
    if (node) error = apply(*node, i);
    if (!first) first = error;
  }
  return first;
}

VLErrorRef VLSimulatedActionRunner::trashLocked(const std::vector<VLItemRef>& items) {
  return forEachNodeLocked(items, [this](VLSimulatedNode& node, size_t) -> VLErrorRef {
    if (node.kind == Kind::Root) return VLSimulatedErrors::notSupported("The root container cannot be trashed.");
    if (node.trashed) return nullptr;
    fs::path from = store_->pathLocked(node);
    fs::path to = store_->childPathLocked(VLSimulatedTrashContainerIdentifier, node.identifier, node.filename);
    if (auto code = moveOnDisk(from, to, isLocal(node))) return diskError(code, from);
    std::string oldParent = node.parent;
    node.trashedFrom = oldParent;
    node.formerParent.clear();
    store_->setParentLocked(node, VLSimulatedTrashContainerIdentifier);
    touchDescendantsLocked(*store_, node.identifier);
    store_->refreshChildCountLocked(oldParent);
    return nullptr;
  });
}

VLErrorRef VLSimulatedActionRunner::untrashLocked(const std::vector<VLItemRef>& items,
                                                  const VLItemRef& restoreDirectory) {
  VLErrorRef first;
  VLSimulatedNode* restore = restoreDirectory ? store_->containerForItemLocked(restoreDirectory, &first) : nullptr;
  if (restoreDirectory && !restore) return first;
  for (const auto& item : items) {
    VLErrorRef error;
    VLSimulatedNode* node = store_->nodeForItemLocked(item, &error);
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
    if (!restore && store_->quirks().untrashesElsewhere()) {
      VLSimulatedNode* recovered =
          store_->clashingChildLocked(KsVaultlineRootContainerItemIdentifier, kRecoveredFolderName);
      if (!recovered || !recovered->isContainer()) {
        VLSimulatedNode folder;
        folder.parent = KsVaultlineRootContainerItemIdentifier;
        folder.filename = store_->uniqueNameLocked(folder.parent, kRecoveredFolderName);
        folder.kind = Kind::Folder;
        folder.typeIdentifier = "public.folder";
        folder.creationDate = folder.modificationDate = VLDate::now();
        folder.uploaded = true;
        fs::path path = store_->childPathLocked(folder.parent, "", folder.filename);
        std::error_code code;
        if (fs::create_directories(path, code); code) {
          if (!first) first = diskError(code, path);
          continue;
        }
        recovered = &store_->addNodeLocked(std::move(folder));
        store_->refreshChildCountLocked(KsVaultlineRootContainerItemIdentifier);
      }
      target = recovered->identifier;
    }
    if ((error = reparentLocked(*node, target, store_->uniqueNameLocked(target, node->filename)))) {
      if (!first) first = error;
      continue;
    }
    if (store_->quirks().untrashDetachesChildren()) {
      for (const auto& child : store_->childrenLocked(node->identifier)) {
        VLSimulatedNode* kid = store_->nodeLocked(child);
        error = reparentLocked(*kid, target, store_->uniqueNameLocked(target, kid->filename));
        if (error && !first) first = error;
      }
    }
  }
  return first;
}

VLErrorRef VLSimulatedActionRunner::deleteLocked(const std::vector<VLItemRef>& items) {
  return forEachNodeLocked(items, [this](VLSimulatedNode& node, size_t) -> VLErrorRef {
    if (node.kind == Kind::Root) return VLSimulatedErrors::notSupported("The root container cannot be deleted.");
    fs::path path = store_->pathLocked(node);
    if (store_->quirks().refusesDeletingNonemptyFolders() && !store_->childrenLocked(node.identifier).empty()) {
      return diskError(std::make_error_code(std::errc::directory_not_empty), path);
    }
    std::vector<std::string> subtree = store_->subtreeLocked(node.identifier);
    if (store_->quirks().deleteLeavesChildrenFetchable()) {
      for (size_t i = 1; i < subtree.size(); ++i) {
        VLSimulatedNode* doomed = store_->nodeLocked(subtree[i]);
        store_->addGhostLocked(store_->pathLocked(*doomed), store_->snapshotLocked(*doomed));
      }
    }
    // The local bytes go first: if they cannot be removed, the item stays.
    std::error_code code;
    fs::remove_all(path, code);
    if (code) return diskError(code, path);
    fs::remove(VLSimulatedStore::placeholderPath(path), code);
    if (node.trashed) fs::remove_all(path.parent_path(), code);
    for (const auto& identifier : subtree) fs::remove_all(store_->serverCopyPath(identifier), code);
    std::string parent = node.parent;
    for (auto it = subtree.rbegin(); it != subtree.rend(); ++it) store_->removeNodeLocked(*it);
    store_->refreshChildCountLocked(parent);
    return nullptr;
  });
}

std::function<void()> VLSimulatedActionRunner::downloadLocked(const std::shared_ptr<VLDownloadOperation>& action) {
  VLErrorRef first;
  std::vector<VLItemRef> downloaded;
  for (const auto& item : action->items()) {
    VLErrorRef error;
    VLSimulatedNode* node = store_->nodeForItemLocked(item, &error);
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
    VLItemRef after = store_->snapshotLocked(*node);
    if (store_->quirks().downloadReportsDownloading()) {
      VLItemAttributes a = after->attributes();
      a.downloading = true;
      after = VLItem::make(std::move(a));
    }
    downloaded.push_back(after);
  }
  return [action, downloaded, first] { action->completeWithItems(downloaded, first); };
}

VLErrorRef VLSimulatedActionRunner::evictLocked(VLSimulatedNode& node) {
  if (!store_->settings().syncing)
    return VLSimulatedErrors::notSupported("A provider that does not sync cannot evict local copies.");
  if (node.kind != Kind::File && node.kind != Kind::Package) {
    return VLSimulatedErrors::notSupported(
        VLFormat("\"%@\" is not a document; only documents can be evicted.", node.filename));
  }
  if (!node.uploaded) {
    return VLSimulatedErrors::notSupported(
        VLFormat("\"%@\" cannot be evicted before it has been uploaded.", node.filename));
  }
  if (!node.downloaded || store_->quirks().evictionChangesNothing()) return nullptr;
  if (store_->quirks().refusesEvictions())
    return VLSimulatedErrors::notSupported(VLFormat("\"%@\" cannot be evicted right now.", node.filename));
  std::error_code code;
  fs::path server = store_->serverCopyPath(node.identifier);
  // The only other copy must be there before the local one goes.
  if (!fs::exists(server, code)) return diskError(std::make_error_code(std::errc::no_such_file_or_directory), server);
  if (!store_->quirks().evictionKeepsContent()) {
    fs::path path = store_->pathLocked(node);
    fs::remove_all(path, code);
    if (code) return diskError(code, path);
  }
  node.downloaded = false;
  store_->touchLocked(node);
  return nullptr;
}

VLErrorRef VLSimulatedActionRunner::evict(const std::string& identifier) {
  auto lock = store_->lock();
  VLSimulatedNode* node = store_->nodeLocked(identifier);
  if (!node) return VLSimulatedErrors::noSuchItem(identifier);
  VLErrorRef error = evictLocked(*node);
  store_->publishLocked();
  return error;
}

VLErrorRef VLSimulatedActionRunner::share(const std::string& identifier) {
  auto lock = store_->lock();
  VLSimulatedNode* node = store_->nodeLocked(identifier);
  if (!node) return VLSimulatedErrors::noSuchItem(identifier);
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
  fs::copy(store_->serverCopyPath(node->identifier), path,
           fs::copy_options::recursive | fs::copy_options::overwrite_existing, code);
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
