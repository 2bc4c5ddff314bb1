// VLDirStore: the items of one local folder, as vlprovider-dir serves them. The folder's
// files and folders are the items; identifiers, tags, favourite ranks and last-used dates
// live in `user.` extended attributes (VLDirAttributes); the trash is the freedesktop.org
// layout inside the folder (VLDirTrash); and the kernel's inotify events (VLDirWatcher) keep
// the index (VLDirTree) true to the disk, whoever changes it.
//
// Every change, made by an action here or by another program, is reported to the change
// handler as the identifiers it touched (the item, its old and new parents, and what a trashed
// folder holds); a lost event reports everything.
//
// Thread-safe: one mutex guards the index, taken by every method and by the watcher's thread.
// The change handler is called without it, from the thread that made the change.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "Core/VLData.h"
#include "Core/VLDate.h"
#include "Core/VLError.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLTag.h"
#include "Vaultline/VLTypeDatabase.h"
#include "VLDirTrash.h"
#include "VLDirTree.h"
#include "VLDirWatcher.h"

class VLDirStore {
 public:
  // The trash's identifier: trashed items name it as their parent.
  // A literal, not a std::string: the watcher thread may still read it while the process exits.
  static constexpr const char* kTrashIdentifier = "vlprovider-dir.trash";
  using ChangeHandler = std::function<void(const std::vector<std::string>& identifiers, bool everything)>;
  using TagList = std::vector<std::shared_ptr<const VLTag>>;
  enum class Scope { Container, WorkingSet, Provider };

  // Opens the store over the folder `root` (made absolute and canonical), indexes it and
  // starts watching it. Throws VLException when the folder does not exist, is not a folder,
  // or lies on a file system that refuses `user.` attributes (naming the file system).
  static std::shared_ptr<VLDirStore> open(const std::string& root, const std::string& providerIdentifier);
  ~VLDirStore();
  VLDirStore(const VLDirStore&) = delete;
  VLDirStore& operator=(const VLDirStore&) = delete;

  // Sets who hears of changes from now on (changes made before are not replayed).
  void setChangeHandler(ChangeHandler handler);
  // Returns the canonical path of the folder served.
  const std::string& root() const { return root_; }

  // ── Look-ups ── (an item is null with "no such item" as the error)
  VLItemRef item(const std::string& identifier, VLErrorRef* error = nullptr);
  VLItemRef itemAtPath(const std::string& path, VLErrorRef* error = nullptr);
  // The path of the item's entry (the trash's for trashed items), and whether it is a folder
  // on disk; none with an error for an item that is gone.
  std::optional<std::string> pathOf(const std::string& identifier, bool* isDirectory, VLErrorRef* error);

  // ── Scopes ──
  // The members of a scope; `container` names the container of a container scope.
  std::vector<VLItemRef> enumerate(Scope scope, const std::string& container, VLErrorRef* error);
  // Whether the item belongs to the scope as things are now.
  bool contains(Scope scope, const std::string& container, const VLItem& item);

  // ── Actions ── (each returns the error that stopped it, or null). An import copies what is
  // at `source`, a file or a folder tree, whatever `isDirectory` says.
  VLItemRef importItem(const std::string& source, bool isDirectory, const std::string& destination, VLErrorRef* error);
  VLItemRef createFolder(const std::string& parent, const std::string& name, VLErrorRef* error);
  VLErrorRef rename(const std::string& identifier, const std::string& newName);
  VLItemRef move(const std::string& identifier, const std::string& destination, VLErrorRef* error);
  VLErrorRef trash(const std::string& identifier);
  // `restoreDirectory` empty: back to the folder the item came from (the root when that is gone).
  VLErrorRef untrash(const std::string& identifier, const std::string& restoreDirectory);
  VLErrorRef remove(const std::string& identifier);
  VLErrorRef setTags(const std::string& identifier, const TagList& tags);
  VLErrorRef setFavoriteRank(const std::string& identifier, std::optional<int64_t> rank);
  VLErrorRef setLastUsedDate(const std::string& identifier, std::optional<VLDate> date);

  // The picture's own bytes for PNG and JPEG files; none with an error otherwise.
  std::optional<VLData> thumbnail(const std::string& identifier, VLErrorRef* error);

  // Reads every folder again and reports what differs (what a lost event needs).
  void rescan();

 private:
  VLDirStore(std::string root, std::string providerIdentifier);
  struct Touched {
    std::unordered_set<std::string> identifiers;
    bool everything = false;
    void add(const std::string& identifier) { identifiers.insert(identifier); }
  };
  using Deferred = std::vector<std::pair<std::string, std::string>>;  // (folder, name) seen as copies

  // Walks `path` (without a trailing slash) under the lock, adopting any step the watcher has
  // not reported yet; what it adopted is left in `touched` for the caller to publish.
  VLItemRef lookUpPath(const std::string& path, Touched& touched, VLErrorRef* error);

  // Index upkeep (VLDirStoreIndex.cpp), all with mutex_ held.
  void scanLocked(Touched& touched);
  void rescanLocked(Touched& touched);
  void syncFolderLocked(const std::string& folder, Touched& touched, Deferred* deferred);
  void reconcileLocked(const std::string& folder, const std::string& name, Touched& touched, Deferred* deferred);
  VLDirNode* adoptLocked(const std::string& folder, const std::string& name, const std::string& path,
                         Touched& touched, Deferred* deferred);
  bool refreshLocked(VLDirNode& node, const std::string& path);
  void forgetLocked(const std::string& identifier, Touched& touched);
  void watchLocked(VLDirNode& node);
  void applyChanges(const std::vector<VLDirChange>& changes);
  std::string newIdentifier();
  std::string stampIdentityLocked(const std::string& path, ino_t inode, const std::string& identifier);

  // Items and paths.
  VLItemRef makeItemLocked(const VLDirNode& node) const;
  std::string pathLocked(const std::string& identifier) const;
  std::string typeOf(const VLDirNode& node) const;
  static std::string extensionOf(const std::string& name);
  bool inWorkingSetLocked(const VLDirNode& node) const;
  bool inProviderScopeLocked(const VLDirNode& node) const;
  VLErrorRef noSuchItem(const std::string& identifier) const;
  VLErrorRef collision(const VLDirNode& existing, const std::string& name) const;
  VLErrorRef checkNameLocked(const std::string& parent, const std::string& name, const std::string& except);
  VLDirNode* containerLocked(const std::string& identifier, VLErrorRef* error);
  void touchSubtreeLocked(const std::string& identifier, Touched& touched);
  void publish(Touched& touched);

  const std::string root_;
  const std::string providerIdentifier_;
  VLDirTrash trash_;
  VLTypeDatabase types_;
  std::unique_ptr<VLDirWatcher> watcher_;
  std::mutex handlerMutex_;
  ChangeHandler handler_;  // guarded by handlerMutex_

  std::mutex mutex_;
  VLDirTree tree_;                                 // guarded by mutex_
  std::unordered_map<int, std::string> watches_;  // inotify watch → folder identifier; guarded by mutex_
};
