// Keeping the index true to the disk: the first scan, identity on first sight, and the
// watcher's events.
#include <cerrno>
#include <cstdio>
#include <random>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "VLDirAttributes.h"
#include "VLDirStore.h"

namespace {
// Names the store itself writes for a moment (the attribute probe) and never serves.
bool isPrivateName(const std::string& name) { return name.rfind(".vaultline-", 0) == 0; }

double secondsOf(const struct statx_timestamp& t) { return static_cast<double>(t.tv_sec) + t.tv_nsec / 1e9; }

std::optional<double> parseDouble(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  char* end = nullptr;
  double value = std::strtod(text->c_str(), &end);
  if (end != text->c_str() + text->size()) return std::nullopt;
  return value;
}

std::optional<int64_t> parseInteger(const std::optional<std::string>& text) {
  if (!text || text->empty()) return std::nullopt;
  char* end = nullptr;
  long long value = std::strtoll(text->c_str(), &end, 10);
  if (end != text->c_str() + text->size()) return std::nullopt;
  return value;
}
}  // namespace

std::string VLDirStore::newIdentifier() {
  // Random rather than counted: no counter to keep, and a copy made while the provider is
  // stopped cannot be handed a number already in use.
  static thread_local std::mt19937_64 generator{std::random_device{}()};
  char text[24];
  std::snprintf(text, sizeof text, "d%016llx", static_cast<unsigned long long>(generator()));
  return text;
}

std::string VLDirStore::stampIdentityLocked(const std::string& path, ino_t inode, const std::string& identifier) {
  // The inode goes beside the identifier so that a copy made with its attributes (cp -a) is
  // seen as a copy: the copy is a new inode.
  VLDirAttributes::set(path, VLDirAttributes::kIdentifier, identifier);
  VLDirAttributes::set(path, VLDirAttributes::kInode, std::to_string(inode));
  return identifier;
}

void VLDirStore::scanLocked(Touched& touched) {
  Deferred deferred;
  syncFolderLocked(KsVaultlineRootContainerItemIdentifier, touched, &deferred);
  syncFolderLocked(kTrashIdentifier, touched, &deferred);
  // Copies are given their own identifiers only once every original has claimed its own.
  for (const auto& [folder, name] : deferred) reconcileLocked(folder, name, touched, nullptr);
}

void VLDirStore::syncFolderLocked(const std::string& folder, Touched& touched, Deferred* deferred) {
  std::string path = pathLocked(folder);
  std::vector<std::string> names;
  if (DIR* dir = opendir(path.c_str())) {
    while (dirent* entry = readdir(dir)) {
      std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      names.push_back(std::move(name));
    }
    closedir(dir);
  }
  std::unordered_set<std::string> present(names.begin(), names.end());
  for (const std::string& child : tree_.children(folder)) {
    const VLDirNode* node = tree_.find(child);
    if (node && !present.count(node->name)) forgetLocked(child, touched);
  }
  for (const std::string& name : names) {
    const VLDirNode* before = tree_.child(folder, name);
    ino_t inode = before ? before->inode : 0;
    reconcileLocked(folder, name, touched, deferred);
    VLDirNode* after = tree_.child(folder, name);
    // A folder that was already known may hold changes of its own; a new one was read whole.
    if (after && before && after->inode == inode && after->kind == VLDirNode::Folder) {
      syncFolderLocked(after->identifier, touched, deferred);
    }
  }
}

void VLDirStore::reconcileLocked(const std::string& folder, const std::string& name, Touched& touched,
                                 Deferred* deferred) {
  const VLDirNode* parent = tree_.find(folder);
  if (!parent || !parent->isContainer() || name.empty() || isPrivateName(name)) return;
  if (folder == KsVaultlineRootContainerItemIdentifier && name == VLDirTrash::folderName()) return;
  std::string path = pathLocked(folder) + "/" + name;
  VLDirNode* existing = tree_.child(folder, name);
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    if (existing) forgetLocked(existing->identifier, touched);
    return;
  }
  if (existing && existing->inode == status.st_ino) {
    // Another program may have written identity attributes over ours since (cp -a writes the
    // original's after creating the file).
    if (VLDirAttributes::get(path, VLDirAttributes::kIdentifier) != existing->identifier ||
        VLDirAttributes::get(path, VLDirAttributes::kInode) != std::to_string(status.st_ino)) {
      stampIdentityLocked(path, status.st_ino, existing->identifier);
    }
    if (refreshLocked(*existing, path)) touched.add(existing->identifier);
    return;
  }
  if (existing) forgetLocked(existing->identifier, touched);
  adoptLocked(folder, name, path, touched, deferred);
}

VLDirNode* VLDirStore::adoptLocked(const std::string& folder, const std::string& name, const std::string& path,
                                   Touched& touched, Deferred* deferred) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return nullptr;
  // Symbolic links, sockets and devices are not items.
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) return nullptr;
  auto identifier = VLDirAttributes::get(path, VLDirAttributes::kIdentifier);
  auto stamp = VLDirAttributes::get(path, VLDirAttributes::kInode);
  bool stampMatches = stamp == std::to_string(status.st_ino);
  std::string chosen;
  if (identifier && !identifier->empty()) {
    VLDirNode* known = tree_.find(*identifier);
    struct stat knownStatus {};
    bool knownStillThere =
        known && lstat(pathLocked(known->identifier).c_str(), &knownStatus) == 0 && knownStatus.st_ino == known->inode;
    if (known && known->inode == status.st_ino && known->kind != VLDirNode::Root && known->kind != VLDirNode::Trash &&
        !tree_.isWithin(folder, known->identifier)) {
      // The item itself, moved here while we did not see it leave.
      if (knownStillThere && pathLocked(known->identifier) != path) {
        chosen = newIdentifier();  // a hard link to a file we already serve
      } else {
        touched.add(known->parent);
        tree_.relink(known->identifier, folder, name);
        known->shownName.clear();
        refreshLocked(*known, path);
        touched.add(folder);
        touchSubtreeLocked(known->identifier, touched);
        return known;
      }
    } else if (!stampMatches && deferred) {
      deferred->emplace_back(folder, name);
      return nullptr;
    } else if (known && knownStillThere) {
      chosen = stampIdentityLocked(path, status.st_ino, newIdentifier());  // a copy
    } else {
      if (known) forgetLocked(known->identifier, touched);
      chosen = *identifier;
      if (!stampMatches) stampIdentityLocked(path, status.st_ino, chosen);
    }
  } else {
    chosen = stampIdentityLocked(path, status.st_ino, newIdentifier());
  }
  VLDirNode node;
  node.identifier = chosen;
  node.parent = folder;
  node.name = name;
  node.inode = status.st_ino;
  node.kind = VLDirNode::File;
  if (S_ISDIR(status.st_mode)) {
    std::string extension = extensionOf(name);
    bool package = !extension.empty() &&
                   types_.isDeclared(types_.preferredIdentifierForExtension(extension, VLPackageTypeIdentifier));
    node.kind = package ? VLDirNode::Package : VLDirNode::Folder;
  }
  VLDirNode& added = tree_.add(std::move(node));
  refreshLocked(added, path);
  touched.add(chosen);
  touched.add(folder);
  if (added.kind == VLDirNode::Folder) {
    watchLocked(added);
    syncFolderLocked(chosen, touched, deferred);
  }
  return tree_.find(chosen);
}

bool VLDirStore::refreshLocked(VLDirNode& node, const std::string& path) {
  VLDirNode before = node;
  struct statx status {};
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &status) == 0) {
    node.size = node.kind == VLDirNode::File ? static_cast<int64_t>(status.stx_size) : 0;
    node.modified = secondsOf(status.stx_mtime);
    node.created = (status.stx_mask & STATX_BTIME) ? secondsOf(status.stx_btime) : node.modified;
  }
  node.tags = VLDirAttributes::get(path, VLDirAttributes::kTags).value_or("");
  node.favoriteRank = parseInteger(VLDirAttributes::get(path, VLDirAttributes::kFavoriteRank));
  node.lastUsedDate = parseDouble(VLDirAttributes::get(path, VLDirAttributes::kLastUsedDate));
  if (node.parent == kTrashIdentifier) {
    auto original = trash_.originalPath(node.name);
    if (original) {
      size_t slash = original->rfind('/');
      node.shownName = slash == std::string::npos ? *original : original->substr(slash + 1);
    }
  } else {
    node.shownName.clear();
  }
  return node.size != before.size || node.modified != before.modified || node.created != before.created ||
         node.tags != before.tags || node.favoriteRank != before.favoriteRank ||
         node.lastUsedDate != before.lastUsedDate || node.shownName != before.shownName;
}

void VLDirStore::forgetLocked(const std::string& identifier, Touched& touched) {
  const VLDirNode* node = tree_.find(identifier);
  if (!node) return;
  touched.add(node->parent);
  for (const std::string& gone : tree_.remove(identifier)) {
    touched.add(gone);
    for (auto it = watches_.begin(); it != watches_.end();) {
      it = it->second == gone ? watches_.erase(it) : std::next(it);
    }
  }
}

void VLDirStore::watchLocked(VLDirNode& node) {
  if (!watcher_) return;
  int watch = watcher_->add(pathLocked(node.identifier));
  if (watch < 0) return;
  node.watch = watch;
  watches_[watch] = node.identifier;
}

void VLDirStore::applyChanges(const std::vector<VLDirChange>& changes) {
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    auto folderOf = [this](int watch) -> std::string {
      auto found = watches_.find(watch);
      return found == watches_.end() ? std::string() : found->second;
    };
    for (const VLDirChange& change : changes) {
      std::string folder = folderOf(change.watch);
      switch (change.kind) {
        case VLDirChange::Overflow:
          touched.everything = true;
          rescanLocked(touched);
          break;
        case VLDirChange::Gone:
          watches_.erase(change.watch);
          break;
        case VLDirChange::Moved: {
          std::string to = folderOf(change.toWatch);
          VLDirNode* node = folder.empty() ? nullptr : tree_.child(folder, change.name);
          const VLDirNode* target = to.empty() ? nullptr : tree_.find(to);
          struct stat status {};
          std::string toPath = target ? pathLocked(to) + "/" + change.toName : std::string();
          if (node && target && lstat(toPath.c_str(), &status) == 0 && status.st_ino == node->inode &&
              !tree_.isWithin(to, node->identifier)) {
            if (VLDirNode* replaced = tree_.child(to, change.toName)) forgetLocked(replaced->identifier, touched);
            touched.add(node->parent);
            bool trashing = (node->parent == kTrashIdentifier) != (to == kTrashIdentifier);
            tree_.relink(node->identifier, to, change.toName);
            refreshLocked(*node, toPath);
            touched.add(to);
            touched.add(node->identifier);
            if (trashing) touchSubtreeLocked(node->identifier, touched);
          } else {
            if (!folder.empty()) reconcileLocked(folder, change.name, touched, nullptr);
            if (!to.empty()) reconcileLocked(to, change.toName, touched, nullptr);
          }
          break;
        }
        default:
          if (folder.empty()) break;
          if (change.name.empty()) {
            // The watched folder's own attributes.
            if (VLDirNode* node = tree_.find(folder); node && node->kind == VLDirNode::Folder) {
              if (refreshLocked(*node, pathLocked(folder))) touched.add(folder);
            }
          } else {
            reconcileLocked(folder, change.name, touched, nullptr);
          }
      }
    }
  }
  publish(touched);
}

void VLDirStore::rescan() {
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    rescanLocked(touched);
  }
  publish(touched);
}

void VLDirStore::rescanLocked(Touched& touched) {
  syncFolderLocked(KsVaultlineRootContainerItemIdentifier, touched, nullptr);
  syncFolderLocked(kTrashIdentifier, touched, nullptr);
}
