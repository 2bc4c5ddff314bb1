// The actions: each changes the disk and the index together under the store's mutex, so the
// watcher's echo of the change finds the index already true and reports nothing twice.
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <stdio.h>
#include <sys/stat.h>

#include "Core/VLFormat.h"
#include "Vaultline/VLConstants.h"
#include "VLDirAttributes.h"
#include "VLDirStore.h"

namespace fs = std::filesystem;

namespace {
VLErrorRef posixError(int code, const std::string& what) {
  return VLError::makeWithDescription(VLPOSIXErrorDomain, code, what + ": " + std::strerror(code));
}

bool isValidName(const std::string& name) {
  return !name.empty() && name.size() <= 255 && name != "." && name != ".." &&
         name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

// Renames without replacing what is already there: a name taken by another program since the
// index was checked is a failure, not a loss.
int renameNoReplace(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  return errno;
}
}  // namespace

VLErrorRef VLDirStore::collision(const VLDirNode& existing, const std::string& name) const {
  (void)name;
  return VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorFilenameCollision,
                       {{VLLocalizedDescriptionKey,
                         VLFormat("An item named \"%@\" already exists in this location.", existing.filename())},
                        {KsVaultlineErrorItem, makeItemLocked(existing)}});
}

VLErrorRef VLDirStore::checkNameLocked(const std::string& parent, const std::string& name, const std::string& except) {
  if (!isValidName(name) || (parent == KsVaultlineRootContainerItemIdentifier && name == VLDirTrash::folderName()) ||
      name.rfind(".vaultline-", 0) == 0) {
    return VLError::makeWithDescription(VLPOSIXErrorDomain, EINVAL, "\"" + name + "\" is not a valid name here.");
  }
  if (VLDirNode* existing = tree_.collision(parent, name, except)) return collision(*existing, name);
  return nullptr;
}

VLDirNode* VLDirStore::containerLocked(const std::string& identifier, VLErrorRef* error) {
  VLDirNode* node = tree_.find(identifier);
  if (!node || (node->kind != VLDirNode::Root && node->kind != VLDirNode::Folder)) {
    *error = noSuchItem(identifier);
    return nullptr;
  }
  return node;
}

void VLDirStore::touchSubtreeLocked(const std::string& identifier, Touched& touched) {
  touched.add(identifier);
  for (const std::string& below : tree_.descendants(identifier)) touched.add(below);
}

VLItemRef VLDirStore::importItem(const std::string& source, bool isDirectory, const std::string& destination,
                                 VLErrorRef* error) {
  Touched touched;
  VLItemRef result;
  {
    std::lock_guard lock(mutex_);
    std::string name = fs::path(source).filename().string();
    if (name.empty()) name = fs::path(source).parent_path().filename().string();
    if (!containerLocked(destination, error)) return nullptr;
    if ((*error = checkNameLocked(destination, name, ""))) return nullptr;
    struct stat status {};
    if (stat(source.c_str(), &status) != 0) {
      *error = posixError(errno, source);
      return nullptr;
    }
    // The disk decides, not the flag: a package written as a document comes flagged as a file.
    (void)isDirectory;
    std::string target = pathLocked(destination) + "/" + name;
    std::error_code code;
    if (S_ISDIR(status.st_mode)) {
      fs::copy(source, target, fs::copy_options::recursive, code);
    } else {
      fs::copy_file(source, target, fs::copy_options::none, code);
    }
    if (code) {
      *error = posixError(code.value(), target);
      fs::remove_all(target, code);
      return nullptr;
    }
    VLDirNode* node = adoptLocked(destination, name, target, touched, nullptr);
    if (!node) {
      *error = posixError(EIO, target);
      return nullptr;
    }
    result = makeItemLocked(*node);
  }
  publish(touched);
  return result;
}

VLItemRef VLDirStore::createFolder(const std::string& parent, const std::string& name, VLErrorRef* error) {
  Touched touched;
  VLItemRef result;
  {
    std::lock_guard lock(mutex_);
    if (!containerLocked(parent, error)) return nullptr;
    if ((*error = checkNameLocked(parent, name, ""))) return nullptr;
    std::string target = pathLocked(parent) + "/" + name;
    if (mkdir(target.c_str(), 0777) != 0) {
      *error = posixError(errno, target);
      return nullptr;
    }
    VLDirNode* node = adoptLocked(parent, name, target, touched, nullptr);
    if (!node) {
      *error = posixError(EIO, target);
      return nullptr;
    }
    result = makeItemLocked(*node);
  }
  publish(touched);
  return result;
}

VLErrorRef VLDirStore::rename(const std::string& identifier, const std::string& newName) {
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    VLDirNode* node = tree_.find(identifier);
    if (!node || node->kind == VLDirNode::Root || node->kind == VLDirNode::Trash) return noSuchItem(identifier);
    if (node->parent == kTrashIdentifier) {
      return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported,
                                          "Items in the trash cannot be renamed.");
    }
    if (node->name == newName) return nullptr;
    if (VLErrorRef error = checkNameLocked(node->parent, newName, identifier)) return error;
    std::string from = pathLocked(identifier);
    std::string to = pathLocked(node->parent) + "/" + newName;
    // A change of letter case only is the same entry on a file system that folds case.
    int failure = VLDirTree::fold(node->name) == VLDirTree::fold(newName)
                      ? (::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno)
                      : renameNoReplace(from, to);
    if (failure) return posixError(failure, from);
    tree_.relink(identifier, node->parent, newName);
    refreshLocked(*node, to);
    touched.add(identifier);
    touched.add(node->parent);
  }
  publish(touched);
  return nullptr;
}

VLItemRef VLDirStore::move(const std::string& identifier, const std::string& destination, VLErrorRef* error) {
  Touched touched;
  VLItemRef result;
  {
    std::lock_guard lock(mutex_);
    VLDirNode* node = tree_.find(identifier);
    if (!node || node->kind == VLDirNode::Root || node->kind == VLDirNode::Trash) {
      *error = noSuchItem(identifier);
      return nullptr;
    }
    if (!containerLocked(destination, error)) return nullptr;
    if (tree_.isWithin(destination, identifier)) {
      *error = VLError::makeWithDescription(VLPOSIXErrorDomain, EINVAL, "A folder cannot be moved into itself.");
      return nullptr;
    }
    if (node->parent != destination) {
      std::string name = node->filename();
      if ((*error = checkNameLocked(destination, name, identifier))) return nullptr;
      std::string from = pathLocked(identifier);
      std::string to = pathLocked(destination) + "/" + name;
      if (int failure = renameNoReplace(from, to)) {
        *error = posixError(failure, from);
        return nullptr;
      }
      bool fromTrash = node->parent == kTrashIdentifier;
      if (fromTrash) {
        trash_.forget(node->name);
        VLDirAttributes::remove(to, VLDirAttributes::kTrashedFrom);
        touchSubtreeLocked(identifier, touched);
      }
      touched.add(node->parent);
      tree_.relink(identifier, destination, name);
      refreshLocked(*node, to);
      touched.add(identifier);
      touched.add(destination);
    }
    result = makeItemLocked(*node);
  }
  publish(touched);
  return result;
}

VLErrorRef VLDirStore::trash(const std::string& identifier) {
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    VLDirNode* node = tree_.find(identifier);
    if (!node || node->kind == VLDirNode::Root || node->kind == VLDirNode::Trash) return noSuchItem(identifier);
    if (node->parent == kTrashIdentifier || tree_.isInsideTrashedFolder(identifier)) return nullptr;
    std::string from = pathLocked(identifier);
    auto trashName = trash_.reserve(tree_.relativePath(identifier));
    if (!trashName) return posixError(errno ? errno : EIO, trash_.infoFolder());
    VLDirAttributes::set(from, VLDirAttributes::kTrashedFrom, node->parent);
    std::string to = trash_.filesFolder() + "/" + *trashName;
    if (int failure = renameNoReplace(from, to)) {
      trash_.forget(*trashName);
      VLDirAttributes::remove(from, VLDirAttributes::kTrashedFrom);
      return posixError(failure, from);
    }
    touched.add(node->parent);
    tree_.relink(identifier, kTrashIdentifier, *trashName);
    refreshLocked(*node, to);
    // What it holds leaves the working set and the provider scope with it.
    touchSubtreeLocked(identifier, touched);
  }
  publish(touched);
  return nullptr;
}

VLErrorRef VLDirStore::untrash(const std::string& identifier, const std::string& restoreDirectory) {
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    VLDirNode* node = tree_.find(identifier);
    if (!node || node->kind == VLDirNode::Root || node->kind == VLDirNode::Trash) return noSuchItem(identifier);
    if (node->parent != kTrashIdentifier) return nullptr;
    std::string from = pathLocked(identifier);
    auto usable = [this](const std::string& folder) {
      const VLDirNode* found = tree_.find(folder);
      return found && (found->kind == VLDirNode::Root || found->kind == VLDirNode::Folder) &&
             !tree_.isWithin(folder, kTrashIdentifier);
    };
    std::string target;
    if (!restoreDirectory.empty()) {
      if (!usable(restoreDirectory)) return noSuchItem(restoreDirectory);
      target = restoreDirectory;
    } else {
      // Where it came from: the folder itself, even if renamed or moved since; else the folder
      // at its old path; else the top.
      auto origin = VLDirAttributes::get(from, VLDirAttributes::kTrashedFrom);
      auto original = trash_.originalPath(node->name);
      if (origin && usable(*origin)) {
        target = *origin;
      } else if (original && original->find('/') != std::string::npos) {
        std::string current = KsVaultlineRootContainerItemIdentifier;
        std::string rest = original->substr(0, original->rfind('/'));
        while (!current.empty() && !rest.empty()) {
          size_t slash = rest.find('/');
          const VLDirNode* step = tree_.child(current, rest.substr(0, slash));
          current = step ? step->identifier : std::string();
          rest = slash == std::string::npos ? std::string() : rest.substr(slash + 1);
        }
        target = !current.empty() && usable(current) ? current : KsVaultlineRootContainerItemIdentifier;
      } else {
        target = KsVaultlineRootContainerItemIdentifier;
      }
    }
    std::string name = node->filename();
    if (VLErrorRef error = checkNameLocked(target, name, identifier)) return error;
    std::string to = pathLocked(target) + "/" + name;
    if (int failure = renameNoReplace(from, to)) return posixError(failure, from);
    trash_.forget(node->name);
    VLDirAttributes::remove(to, VLDirAttributes::kTrashedFrom);
    tree_.relink(identifier, target, name);
    refreshLocked(*node, to);
    touched.add(target);
    touchSubtreeLocked(identifier, touched);
  }
  publish(touched);
  return nullptr;
}

VLErrorRef VLDirStore::remove(const std::string& identifier) {
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    VLDirNode* node = tree_.find(identifier);
    if (!node || node->kind == VLDirNode::Root || node->kind == VLDirNode::Trash) return noSuchItem(identifier);
    std::string path = pathLocked(identifier);
    std::error_code code;
    fs::remove_all(path, code);
    if (code) return posixError(code.value(), path);
    if (node->parent == kTrashIdentifier) trash_.forget(node->name);
    forgetLocked(identifier, touched);
  }
  publish(touched);
  return nullptr;
}

VLErrorRef VLDirStore::setTags(const std::string& identifier, const TagList& tags) {
  std::string text;
  if (!tags.empty()) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& tag : tags) list.push_back({{"label", tag->label()}, {"color", tag->color()}});
    text = list.dump();
  }
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    VLDirNode* node = tree_.find(identifier);
    if (!node || node->kind == VLDirNode::Root || node->kind == VLDirNode::Trash) return noSuchItem(identifier);
    std::string path = pathLocked(identifier);
    bool done = text.empty() ? VLDirAttributes::remove(path, VLDirAttributes::kTags)
                             : VLDirAttributes::set(path, VLDirAttributes::kTags, text);
    if (!done) return posixError(errno, path);
    node->tags = text;
    touched.add(identifier);
  }
  publish(touched);
  return nullptr;
}

VLErrorRef VLDirStore::setFavoriteRank(const std::string& identifier, std::optional<int64_t> rank) {
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    VLDirNode* node = tree_.find(identifier);
    if (!node || node->kind == VLDirNode::Root || node->kind == VLDirNode::Trash) return noSuchItem(identifier);
    std::string path = pathLocked(identifier);
    bool done = rank ? VLDirAttributes::set(path, VLDirAttributes::kFavoriteRank, std::to_string(*rank))
                     : VLDirAttributes::remove(path, VLDirAttributes::kFavoriteRank);
    if (!done) return posixError(errno, path);
    node->favoriteRank = rank;
    touched.add(identifier);
  }
  publish(touched);
  return nullptr;
}

VLErrorRef VLDirStore::setLastUsedDate(const std::string& identifier, std::optional<VLDate> date) {
  Touched touched;
  {
    std::lock_guard lock(mutex_);
    VLDirNode* node = tree_.find(identifier);
    if (!node || node->kind == VLDirNode::Root || node->kind == VLDirNode::Trash) return noSuchItem(identifier);
    std::string path = pathLocked(identifier);
    char text[64];
    if (date) std::snprintf(text, sizeof text, "%.6f", date->timeIntervalSince1970());
    bool done = date ? VLDirAttributes::set(path, VLDirAttributes::kLastUsedDate, text)
                     : VLDirAttributes::remove(path, VLDirAttributes::kLastUsedDate);
    if (!done) return posixError(errno, path);
    // Kept as written, so that the watcher's echo reads back the very same number.
    node->lastUsedDate = date ? std::optional<double>(std::strtod(text, nullptr)) : std::nullopt;
    touched.add(identifier);
  }
  publish(touched);
  return nullptr;
}
