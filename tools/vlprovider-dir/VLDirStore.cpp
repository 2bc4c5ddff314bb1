#include "VLDirStore.h"

#include <climits>
#include <cstdlib>
#include <fstream>

#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "Core/VLException.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLImageCodec.h"
#include "Vaultline/VLStandardTypes.h"
#include "VLDirAttributes.h"

namespace {
constexpr uint64_t kFileCapabilities = VLItemCapabilityAllowsReading | VLItemCapabilityAllowsWriting |
                                       VLItemCapabilityAllowsReparenting | VLItemCapabilityAllowsRenaming |
                                       VLItemCapabilityAllowsTrashing | VLItemCapabilityAllowsDeleting;
constexpr uint64_t kFolderCapabilities =
    kFileCapabilities | VLItemCapabilityAllowsAddingSubItems | VLItemCapabilityAllowsContentEnumerating;
constexpr uint64_t kRootCapabilities =
    VLItemCapabilityAllowsReading | VLItemCapabilityAllowsAddingSubItems | VLItemCapabilityAllowsContentEnumerating;
// Thumbnails are the picture's own bytes; a bigger file is not sent over one protocol line.
constexpr std::streamoff kMaximumThumbnailBytes = 8 * 1024 * 1024;
}  // namespace

std::shared_ptr<VLDirStore> VLDirStore::open(const std::string& root, const std::string& providerIdentifier) {
  char resolved[PATH_MAX];
  if (!realpath(root.c_str(), resolved)) throw VLException("The folder " + root + " does not exist");
  struct stat status {};
  if (stat(resolved, &status) != 0 || !S_ISDIR(status.st_mode)) throw VLException(root + " is not a folder");
  VLDirAttributes::requireSupport(resolved);
  std::shared_ptr<VLDirStore> store(new VLDirStore(resolved, providerIdentifier));
  if (!store->trash_.prepare()) throw VLException("Cannot make the trash folders in " + std::string(resolved));
  // A plain pointer: the destructor stops the watcher before anything goes, and a strong
  // reference here could make the watcher's own thread the one that destroys the store.
  VLDirStore* self = store.get();
  store->watcher_ = VLDirWatcher::make([self](const std::vector<VLDirChange>& changes) { self->applyChanges(changes); });
  Touched touched;
  {
    std::lock_guard lock(store->mutex_);
    VLDirNode root;
    root.identifier = root.parent = KsVaultlineRootContainerItemIdentifier;
    std::string path = resolved;
    root.name = path == "/" ? path : path.substr(path.rfind('/') + 1);
    root.kind = VLDirNode::Root;
    store->watchLocked(store->tree_.add(root));
    VLDirNode trash;
    trash.identifier = trash.parent = kTrashIdentifier;
    trash.name = "Trash";
    trash.kind = VLDirNode::Trash;
    store->watchLocked(store->tree_.add(trash));
    store->scanLocked(touched);
  }
  store->watcher_->start();
  return store;
}

VLDirStore::VLDirStore(std::string root, std::string providerIdentifier)
    : root_(std::move(root)), providerIdentifier_(std::move(providerIdentifier)), trash_(root_) {
  vl_declareStandardTypes(types_);
}

VLDirStore::~VLDirStore() {
  if (watcher_) watcher_->stop();
}

void VLDirStore::setChangeHandler(ChangeHandler handler) {
  std::lock_guard lock(handlerMutex_);
  handler_ = std::move(handler);
}

void VLDirStore::publish(Touched& touched) {
  if (touched.identifiers.empty() && !touched.everything) return;
  ChangeHandler handler;
  {
    std::lock_guard lock(handlerMutex_);
    handler = handler_;
  }
  if (handler) handler(std::vector<std::string>(touched.identifiers.begin(), touched.identifiers.end()), touched.everything);
}

std::string VLDirStore::extensionOf(const std::string& name) {
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? "" : name.substr(dot + 1);
}

std::string VLDirStore::typeOf(const VLDirNode& node) const {
  switch (node.kind) {
    case VLDirNode::File:
      return types_.preferredIdentifierForExtension(extensionOf(node.filename()), std::string("public.data"));
    case VLDirNode::Package:
      return types_.preferredIdentifierForExtension(extensionOf(node.filename()), VLPackageTypeIdentifier);
    default:
      return "public.folder";
  }
}

std::string VLDirStore::pathLocked(const std::string& identifier) const {
  std::string top;
  std::string relative = tree_.relativePath(identifier, &top);
  std::string base = top == kTrashIdentifier ? trash_.filesFolder() : root_;
  return relative.empty() ? base : base + "/" + relative;
}

bool VLDirStore::inWorkingSetLocked(const VLDirNode& node) const {
  return node.kind != VLDirNode::Root && node.kind != VLDirNode::Trash && node.hasWorkingSetAttributes() &&
         !tree_.isInsideTrashedFolder(node.identifier);
}

bool VLDirStore::inProviderScopeLocked(const VLDirNode& node) const {
  return node.kind != VLDirNode::Root && node.kind != VLDirNode::Trash && !tree_.isInsideTrashedFolder(node.identifier);
}

VLItemRef VLDirStore::makeItemLocked(const VLDirNode& node) const {
  VLItemAttributes a;
  a.providerIdentifier = a.providerID = providerIdentifier_;
  a.itemIdentifier = node.identifier;
  a.parentItemIdentifier = node.parent;
  a.filename = a.displayName = node.filename();
  a.typeIdentifier = typeOf(node);
  a.isFolder = node.isContainer();
  a.isContainer = node.isContainer();
  if (node.isContainer()) a.childItemCount = static_cast<int64_t>(tree_.childCount(node.identifier));
  if (node.kind == VLDirNode::File) a.documentSize = node.size;
  a.capabilities = node.kind == VLDirNode::Root    ? kRootCapabilities
                   : node.kind == VLDirNode::Folder ? kFolderCapabilities
                   : node.kind == VLDirNode::Trash  ? VLItemCapabilityAllowsReading | VLItemCapabilityAllowsContentEnumerating
                                                    : kFileCapabilities;
  if (node.created) a.creationDate = VLDate(node.created);
  if (node.modified) a.contentModificationDate = VLDate(node.modified);
  if (node.lastUsedDate) a.lastUsedDate = VLDate(*node.lastUsedDate);
  // Every byte is on this machine and there is no server: always downloaded, always uploaded.
  a.downloaded = a.mostRecentVersionDownloaded = a.uploaded = true;
  a.trashed = node.parent == kTrashIdentifier;
  a.favoriteRank = node.favoriteRank;
  if (!node.tags.empty()) {
    auto list = nlohmann::json::parse(node.tags, nullptr, false);
    if (list.is_array()) {
      for (const auto& tag : list) {
        if (tag.is_object() && tag.value("label", nlohmann::json()).is_string() &&
            tag.value("color", nlohmann::json()).is_number_integer()) {
          a.tags.push_back(VLTag::make(tag["label"].get<std::string>(), tag["color"].get<int64_t>()));
        }
      }
    }
  }
  return VLItem::make(std::move(a));
}

VLErrorRef VLDirStore::noSuchItem(const std::string& identifier) const {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                      "The item \"" + identifier + "\" doesn't exist.");
}

VLItemRef VLDirStore::item(const std::string& identifier, VLErrorRef* error) {
  std::lock_guard lock(mutex_);
  const VLDirNode* node = tree_.find(identifier);
  if (!node || node->kind == VLDirNode::Trash) {
    if (error) *error = noSuchItem(identifier);
    return nullptr;
  }
  return makeItemLocked(*node);
}

VLItemRef VLDirStore::itemAtPath(const std::string& path, VLErrorRef* error) {
  std::string clean = path;
  while (clean.size() > 1 && clean.back() == '/') clean.pop_back();
  Touched touched;
  VLItemRef found = lookUpPath(clean, touched, error);
  // The path may name what another program made a moment ago, before the watcher reported it.
  publish(touched);
  return found;
}

VLItemRef VLDirStore::lookUpPath(const std::string& clean, Touched& touched, VLErrorRef* error) {
  std::lock_guard lock(mutex_);
  std::string current;
  std::string rest;
  if (clean == root_) {
    current = KsVaultlineRootContainerItemIdentifier;
  } else if (clean.rfind(trash_.filesFolder() + "/", 0) == 0) {
    current = kTrashIdentifier;
    rest = clean.substr(trash_.filesFolder().size() + 1);
  } else if (clean.rfind(root_ + "/", 0) == 0) {
    current = KsVaultlineRootContainerItemIdentifier;
    rest = clean.substr(root_.size() + 1);
  }
  while (!current.empty() && !rest.empty()) {
    size_t slash = rest.find('/');
    std::string name = rest.substr(0, slash);
    rest = slash == std::string::npos ? std::string() : rest.substr(slash + 1);
    const VLDirNode* node = tree_.child(current, name);
    if (!node) {
      reconcileLocked(current, name, touched, nullptr);
      node = tree_.child(current, name);
    }
    current = node ? node->identifier : std::string();
  }
  const VLDirNode* node = current.empty() ? nullptr : tree_.find(current);
  if (!node || node->kind == VLDirNode::Trash) {
    if (error) *error = noSuchItem(clean);
    return nullptr;
  }
  return makeItemLocked(*node);
}

std::optional<std::string> VLDirStore::pathOf(const std::string& identifier, bool* isDirectory, VLErrorRef* error) {
  std::lock_guard lock(mutex_);
  const VLDirNode* node = tree_.find(identifier);
  if (!node || node->kind == VLDirNode::Trash) {
    if (error) *error = noSuchItem(identifier);
    return std::nullopt;
  }
  if (isDirectory) *isDirectory = node->kind != VLDirNode::File;
  return pathLocked(identifier);
}

std::vector<VLItemRef> VLDirStore::enumerate(Scope scope, const std::string& container, VLErrorRef* error) {
  std::vector<VLItemRef> items;
  std::lock_guard lock(mutex_);
  if (scope == Scope::Container) {
    const VLDirNode* node = tree_.find(container);
    if (!node || !node->isContainer()) {
      if (error) *error = noSuchItem(container);
      return items;
    }
    for (const std::string& child : tree_.children(container)) items.push_back(makeItemLocked(*tree_.find(child)));
    return items;
  }
  tree_.forEach([&](const VLDirNode& node) {
    if (scope == Scope::WorkingSet ? inWorkingSetLocked(node) : inProviderScopeLocked(node)) {
      items.push_back(makeItemLocked(node));
    }
  });
  return items;
}

bool VLDirStore::contains(Scope scope, const std::string& container, const VLItem& item) {
  std::lock_guard lock(mutex_);
  const VLDirNode* node = tree_.find(item.itemIdentifier());
  if (!node) return false;
  switch (scope) {
    case Scope::Container:
      return node->parent == container && node->identifier != container;
    case Scope::WorkingSet:
      return inWorkingSetLocked(*node);
    default:
      return inProviderScopeLocked(*node);
  }
}

std::optional<VLData> VLDirStore::thumbnail(const std::string& identifier, VLErrorRef* error) {
  std::string path;
  {
    std::lock_guard lock(mutex_);
    const VLDirNode* node = tree_.find(identifier);
    if (!node) {
      if (error) *error = noSuchItem(identifier);
      return std::nullopt;
    }
    if (node->kind != VLDirNode::File) {
      if (error) *error = VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported,
                                                       "Only PNG and JPEG files have thumbnails.");
      return std::nullopt;
    }
    path = pathLocked(identifier);
  }
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  std::streamoff size = in ? static_cast<std::streamoff>(in.tellg()) : -1;
  if (size < 0 || size > kMaximumThumbnailBytes) {
    if (error) *error = VLError::makeWithDescription(VLPOSIXErrorDomain, size < 0 ? ENOENT : EFBIG,
                                                     "Cannot read " + path + " for its thumbnail.");
    return std::nullopt;
  }
  std::string bytes(static_cast<size_t>(size), '\0');
  in.seekg(0);
  in.read(bytes.data(), size);
  VLData data(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  // The host scales whatever it gets, so a picture is its own thumbnail.
  if (!VLImageCodec::typeIdentifierOfData(data)) {
    if (error) *error = VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported,
                                                     "Only PNG and JPEG files have thumbnails.");
    return std::nullopt;
  }
  return data;
}
