#include "Simulated/VLSimulatedStore.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <system_error>

#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Simulated/VLSimulatedBulkSeed.h"
#include "Simulated/VLSimulatedCollection.h"
#include "Simulated/VLSimulatedCollectionOrder.h"
#include "Simulated/VLSimulatedErrors.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLImageCodec.h"
#include "Vaultline/VLPersonNameComponents.h"

namespace fs = std::filesystem;

const std::string& VLSimulatedTrashContainerIdentifier = *new std::string("SimulatedTrashContainer");

namespace {

const std::string& kAliasPrefix = *new std::string("alias:");
const std::string& kWrongParent = *new std::string("SimulatedWrongParent");
const std::string& kAccountFolder = *new std::string("SimulatedAccountFolder");

std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::string tagText(const std::vector<std::shared_ptr<const VLTag>>& tags) {
  std::string text;
  for (const auto& tag : tags) text += tag->label() + "\n" + std::to_string(tag->color()) + "\n";
  return text;
}

}  // namespace

std::string VLSimulatedStore::extensionOf(const std::string& name) {
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? "" : name.substr(dot + 1);
}

bool VLSimulatedStore::isValidName(const std::string& name) {
  // What one directory entry on disk can hold.
  return !name.empty() && name.size() <= 255 && name != "." && name != ".." &&
         name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

std::shared_ptr<VLSimulatedStore> VLSimulatedStore::make(const VLSimulatedSettings& settings,
                                                         std::shared_ptr<VLProvider> provider,
                                                         std::shared_ptr<const VLTypeDatabase> types,
                                                         const fs::path& parent) {
  static std::atomic<uint64_t> counter{0};
  fs::path storage = parent / ("SimulatedProvider-" + std::to_string(++counter));
  std::error_code code;
  fs::remove_all(storage, code);
  for (const char* sub : {"Root", ".Trash", ".Server"}) {
    if (!fs::create_directories(storage / sub, code) && code) {
      throw VLException("cannot create the simulated provider's storage directory " + (storage / sub).string() + ": " +
                        code.message());
    }
  }
  std::shared_ptr<VLSimulatedStore> store(
      new VLSimulatedStore(settings, std::move(provider), std::move(types), storage));
  auto lock = store->lock();
  VLSimulatedNode root;
  root.identifier = KsVaultlineRootContainerItemIdentifier;
  root.parent = KsVaultlineRootContainerItemIdentifier;
  root.filename = "Simulated Provider";
  root.kind = VLSimulatedNode::Kind::Root;
  root.typeIdentifier = "public.folder";
  root.creationDate = root.modificationDate = VLDate::now();
  root.uploaded = true;
  store->addNodeLocked(std::move(root));
  if (settings.alternateRootName) {
    VLSimulatedNode folder;
    folder.parent = KsVaultlineRootContainerItemIdentifier;
    folder.filename = *settings.alternateRootName;
    folder.kind = VLSimulatedNode::Kind::Folder;
    folder.typeIdentifier = "public.folder";
    folder.creationDate = folder.modificationDate = VLDate::now();
    folder.uploaded = true;
    auto& added = store->addNodeLocked(std::move(folder));
    fs::create_directories(store->pathLocked(added), code);
    store->alternateRoot_ = added.identifier;
    store->refreshChildCountLocked(KsVaultlineRootContainerItemIdentifier);
  }
  if (settings.sampleTree) store->seedSampleTreeLocked();
  VLSimulatedBulkSeed::seedLocked(*store, settings.seedItems);
  return store;
}

void VLSimulatedStore::seedSampleTreeLocked() {
  using Kind = VLSimulatedNode::Kind;
  const std::string& root = KsVaultlineRootContainerItemIdentifier;
  std::string documents = addSampleLocked(root, "Documents", Kind::Folder);
  addSampleLocked(documents, "Notes.txt", Kind::File, "Things to remember.\n");
  addSampleLocked(documents, "Report.rtfd", Kind::Package, "{\\rtf1\\ansi Quarterly report}");
  std::string drafts = addSampleLocked(documents, "Drafts", Kind::Folder);
  addSampleLocked(drafts, "Outline.txt", Kind::File, "1. Introduction\n2. Findings\n");
  std::string photos = addSampleLocked(root, "Photos", Kind::Folder);
  VLBitmap picture(16, 12);
  picture.fillRect(0, 0, 16, 6, 0.1, 0.3, 0.8, 1);
  picture.fillRect(0, 6, 16, 6, 0.9, 0.7, 0.2, 1);
  addSampleLocked(photos, "Harbour.jpeg", Kind::File, VLImageCodec::encodeJPEG(picture).stringValue());
  addSampleLocked(root, "Welcome.txt", Kind::File, "Welcome to the simulated provider.\n");
}

std::string VLSimulatedStore::addSampleLocked(const std::string& parent, const std::string& name,
                                              VLSimulatedNode::Kind kind, const std::string& contents) {
  using Kind = VLSimulatedNode::Kind;
  VLSimulatedNode node;
  node.parent = parent;
  node.filename = name;
  node.kind = kind;
  node.creationDate = node.modificationDate = VLDate::now();
  node.uploaded = true;
  if (kind == Kind::Folder) {
    node.typeIdentifier = "public.folder";
  } else if (kind == Kind::Package) {
    node.typeIdentifier = types().preferredIdentifierForExtension(extensionOf(name), VLPackageTypeIdentifier);
  } else {
    node.typeIdentifier = fileTypeLocked(name);
  }
  node.documentSize = static_cast<int64_t>(contents.size());
  VLSimulatedNode& added = addNodeLocked(std::move(node));
  fs::path path = pathLocked(added);
  std::error_code ignored;
  if (kind == Kind::File) {
    std::ofstream(path, std::ios::binary) << contents;
  } else {
    fs::create_directories(path, ignored);
    if (kind == Kind::Package) std::ofstream(path / "TXT.rtf", std::ios::binary) << contents;
  }
  if (kind != Kind::Folder) fs::copy(path, serverCopyPath(added.identifier), fs::copy_options::recursive, ignored);
  refreshChildCountLocked(parent);
  return added.identifier;
}

VLSimulatedStore::VLSimulatedStore(const VLSimulatedSettings& settings, std::shared_ptr<VLProvider> provider,
                                   std::shared_ptr<const VLTypeDatabase> types, fs::path storage)
    : settings_(settings),
      provider_(std::move(provider)),
      types_(std::move(types)),
      storage_(std::move(storage)),
      trashChildren_(&children_[VLSimulatedTrashContainerIdentifier]),
      order_(std::make_unique<VLSimulatedCollectionOrder>()) {}

VLSimulatedStore::~VLSimulatedStore() {
  std::error_code ignored;
  fs::remove_all(storage_, ignored);
}

VLSimulatedNode* VLSimulatedStore::nodeLocked(const std::string& identifier) {
  auto found = identifier.rfind(kAliasPrefix, 0) == 0 ? nodes_.find(identifier.substr(kAliasPrefix.size()))
                                                      : nodes_.find(identifier);
  return found == nodes_.end() ? nullptr : found->second.get();
}

VLSimulatedNode* VLSimulatedStore::nodeForItemIDLocked(const VLItemID& itemID) {
  const auto& part = itemID.providerPart();
  if (part != provider_->providerIdentifier() && part != provider_->identifier() && part != provider_->providerID()) {
    return nullptr;
  }
  return nodeLocked(itemID.itemIdentifier());
}

std::vector<std::string> VLSimulatedStore::childrenLocked(const std::string& identifier) const {
  auto found = children_.find(identifier);
  if (found == children_.end()) return {};
  return std::vector<std::string>(found->second.begin(), found->second.end());
}

bool VLSimulatedStore::isInTrashLocked(const VLSimulatedNode& node) {
  // Whatever is trashed is a child of the trash container: an empty trash spares the walk.
  if (trashChildren_->empty()) return false;
  const VLSimulatedNode* current = &node;
  while (current && current->kind != VLSimulatedNode::Kind::Root) {
    if (current->trashed) return true;
    current = nodeLocked(current->parent);
  }
  return false;
}

bool VLSimulatedStore::isAncestorLocked(const std::string& ancestor, const VLSimulatedNode& node) {
  const VLSimulatedNode* current = &node;
  while (current) {
    if (current->identifier == ancestor) return true;
    if (current->kind == VLSimulatedNode::Kind::Root || current->parent == VLSimulatedTrashContainerIdentifier) break;
    current = nodeLocked(current->parent);
  }
  return false;
}

VLSimulatedNode* VLSimulatedStore::clashingChildLocked(const std::string& parent, const std::string& name,
                                                       const std::string& except) {
  bool caseSensitive = settings_.has(VLSimulatedQuirk::CaseSensitiveNames);
  std::string wanted = caseSensitive ? name : lowercase(name);
  for (const auto& child : childrenLocked(parent)) {
    VLSimulatedNode* node = nodeLocked(child);
    if (!node || node->identifier == except) continue;
    if ((caseSensitive ? node->filename : lowercase(node->filename)) == wanted) return node;
  }
  return nullptr;
}

std::string VLSimulatedStore::uniqueNameLocked(const std::string& parent, const std::string& name) {
  if (!clashingChildLocked(parent, name)) return name;
  size_t dot = name.rfind('.');
  std::string stem = (dot == std::string::npos || dot == 0) ? name : name.substr(0, dot);
  std::string extension = (dot == std::string::npos || dot == 0) ? "" : name.substr(dot);
  for (int number = 2;; ++number) {
    std::string candidate = stem + " " + std::to_string(number) + extension;
    if (!clashingChildLocked(parent, candidate)) return candidate;
  }
}

fs::path VLSimulatedStore::pathLocked(const VLSimulatedNode& node) {
  if (node.kind == VLSimulatedNode::Kind::Root) return storage_ / "Root";
  fs::path path = childPathLocked(node.parent, node.identifier, node.filename);
  VLSimulatedBulkSeed::materializeLocked(*this, node, path);
  return path;
}

fs::path VLSimulatedStore::childPathLocked(const std::string& parent, const std::string& identifier,
                                           const std::string& name) {
  if (parent == VLSimulatedTrashContainerIdentifier) return storage_ / ".Trash" / identifier / name;
  VLSimulatedNode* folder = nodeLocked(parent);
  return folder ? pathLocked(*folder) / name : storage_ / ".Orphans" / name;
}

fs::path VLSimulatedStore::placeholderPath(const fs::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".placeholder");
}

VLSimulatedNode* VLSimulatedStore::nodeForPathLocked(const fs::path& path) {
  fs::path normal = path.lexically_normal();
  if (!normal.has_filename()) normal = normal.parent_path();
  fs::path relative = normal.lexically_relative(storage_);
  if (relative.empty() || *relative.begin() == "..") return nullptr;
  auto part = relative.begin();
  VLSimulatedNode* node = nullptr;
  if (*part == "Root") {
    node = nodeLocked(KsVaultlineRootContainerItemIdentifier);
    ++part;
  } else if (*part == ".Trash") {
    if (++part == relative.end()) return nullptr;
    node = nodeLocked(part->string());
    if (!node || !node->trashed || ++part == relative.end() || *part != node->filename) return nullptr;
    ++part;
  } else {
    return nullptr;
  }
  for (; node && part != relative.end(); ++part) {
    VLSimulatedNode* next = nullptr;
    for (const auto& child : childrenLocked(node->identifier)) {
      VLSimulatedNode* candidate = nodeLocked(child);
      if (candidate && candidate->filename == part->string()) next = candidate;
    }
    node = next;
  }
  return node;
}

VLItemRef VLSimulatedStore::ghostForPathLocked(const fs::path& path) const {
  auto found = ghosts_.find(path.lexically_normal().string());
  return found == ghosts_.end() ? nullptr : found->second;
}

VLSimulatedNode& VLSimulatedStore::addNodeLocked(VLSimulatedNode node) {
  if (node.identifier.empty()) node.identifier = "item-" + std::to_string(nextIdentifier_++);
  std::string identifier = node.identifier;
  if (node.kind != VLSimulatedNode::Kind::Root) children_[node.parent].insert(identifier);
  auto& stored = nodes_[identifier];
  stored = std::make_unique<VLSimulatedNode>(std::move(node));
  return *stored;
}

void VLSimulatedStore::removeNodeLocked(const std::string& identifier) {
  auto found = nodes_.find(identifier);
  if (found == nodes_.end()) return;
  children_[found->second->parent].erase(identifier);
  children_.erase(identifier);
  nodes_.erase(found);
}

VLSimulatedNode& VLSimulatedStore::reidentifyLocked(const std::string& identifier) {
  auto found = nodes_.find(identifier);
  auto node = std::move(found->second);
  nodes_.erase(found);
  children_[node->parent].erase(identifier);
  node->identifier = "item-" + std::to_string(nextIdentifier_++);
  children_[node->parent].insert(node->identifier);
  if (auto kids = children_.find(identifier); kids != children_.end()) {
    children_[node->identifier] = std::move(kids->second);
    children_.erase(identifier);
    for (const auto& child : children_[node->identifier]) nodes_[child]->parent = node->identifier;
  }
  touchLocked(*node);
  auto& stored = nodes_[node->identifier];
  stored = std::move(node);
  return *stored;
}

void VLSimulatedStore::setParentLocked(VLSimulatedNode& node, const std::string& parent) {
  children_[node.parent].erase(node.identifier);
  node.parent = parent;
  // Being trashed is being in the trash, however an item gets in or out of it.
  node.trashed = parent == VLSimulatedTrashContainerIdentifier;
  if (!node.trashed) node.trashedFrom.clear();
  children_[parent].insert(node.identifier);
  touchLocked(node);
}

void VLSimulatedStore::touchLocked(VLSimulatedNode& node) {
  ++node.revision;
  node.snapshot = nullptr;
}

void VLSimulatedStore::refreshChildCountLocked(const std::string& identifier) {
  VLSimulatedNode* node = nodeLocked(identifier);
  if (!node || !node->isContainer() || settings_.has(VLSimulatedQuirk::StaleChildCount)) return;
  auto count = static_cast<int64_t>(childrenLocked(identifier).size());
  if (count == node->reportedChildCount) return;
  node->reportedChildCount = count;
  node->modificationDate = VLDate::now();
  touchLocked(*node);
}

VLItemRef VLSimulatedStore::snapshotLocked(VLSimulatedNode& node) {
  if (node.snapshot) return node.snapshot;
  using Kind = VLSimulatedNode::Kind;
  bool container = node.isContainer();
  bool content = node.kind == Kind::File || node.kind == Kind::Package;
  VLItemAttributes a;
  a.providerIdentifier = provider_->providerIdentifier();
  a.providerID = provider_->providerID();
  a.itemIdentifier = node.identifier;
  a.parentItemIdentifier = node.parent;
  if (node.kind == Kind::Root && settings_.has(VLSimulatedQuirk::RootHasParent))
    a.parentItemIdentifier = kAccountFolder;
  a.filename = node.filename;
  a.displayName = node.filename;
  a.typeIdentifier = node.typeIdentifier;
  a.isFolder = container;
  a.isContainer = container;
  if (container && !settings_.has(VLSimulatedQuirk::NoChildCount)) {
    a.childItemCount = node.reportedChildCount + (settings_.has(VLSimulatedQuirk::ChildCountIncludesHidden) ? 1 : 0);
  }
  if (content) a.documentSize = node.documentSize;
  a.capabilities = VLItemCapabilityAllowsReading;
  if (node.kind != Kind::Root) {
    a.capabilities |= VLItemCapabilityAllowsReparenting | VLItemCapabilityAllowsRenaming |
                      VLItemCapabilityAllowsTrashing | VLItemCapabilityAllowsDeleting;
  }
  if (container) {
    a.capabilities |= VLItemCapabilityAllowsContentEnumerating;
    if (!settings_.has(VLSimulatedQuirk::NoSubitemCapability)) a.capabilities |= VLItemCapabilityAllowsAddingSubItems;
  } else {
    a.capabilities |= VLItemCapabilityAllowsWriting;
  }
  a.creationDate = node.creationDate;
  a.contentModificationDate = node.modificationDate;
  a.lastUsedDate = node.lastUsedDate;
  a.isCloudItem = settings_.syncing;
  a.downloaded = container || (node.downloaded && !node.reportNotDownloaded);
  a.mostRecentVersionDownloaded = a.downloaded;
  a.supportsMostRecentVersionDownloaded = true;
  a.uploaded = node.uploaded;
  a.uploading = node.uploading;
  a.trashed = node.trashed;
  a.favoriteRank = node.favoriteRank;
  a.tags = node.tags;
  if (!node.tags.empty()) a.tagData = VLData::fromString(tagText(node.tags));
  a.shared = node.shared;
  a.sharedByCurrentUser = node.shared;
  static const auto& owner = *new auto(VLPersonNameComponents::make("Simulated", "Owner"));
  a.ownerNameComponents = owner;
  a.mostRecentEditorNameComponents = owner;
  if (content) a.versionIdentifier = VLData::fromString(std::to_string(node.contentVersion));
  node.snapshot = VLItem::make(std::move(a));
  return node.snapshot;
}

VLItemRef VLSimulatedStore::lookupSnapshotLocked(VLSimulatedNode& node) {
  VLItemRef item = snapshotLocked(node);
  if (!settings_.has(VLSimulatedQuirk::LookupReturnsOtherIdentifier)) return item;
  VLItemAttributes a = item->attributes();
  a.itemIdentifier = kAliasPrefix + a.itemIdentifier;
  return VLItem::make(std::move(a));
}

bool VLSimulatedStore::inWorkingSetLocked(VLSimulatedNode& node) {
  if (node.kind == VLSimulatedNode::Kind::Root) return false;
  if (node.tags.empty() && !node.favoriteRank && !node.lastUsedDate) return false;
  if (node.trashed || settings_.has(VLSimulatedQuirk::TrashedChildrenStayInWorkingSet)) return true;
  return !isInTrashLocked(node);
}

std::optional<std::vector<VLSimulatedStore::Entry>> VLSimulatedStore::entriesLocked(
    const VLSimulatedCollection& collection) {
  using ScopeKind = VLSimulatedCollection::ScopeKind;
  const auto& scope = collection.scope();
  std::vector<Entry> entries;
  auto add = [&](VLSimulatedNode& node) { entries.push_back({snapshotLocked(node), node.revision}); };
  switch (scope.kind) {
    case ScopeKind::Unavailable: return std::nullopt;
    case ScopeKind::Container: {
      if (scope.identifier == VLSimulatedTrashContainerIdentifier) {
        for (const auto& child : childrenLocked(scope.identifier)) add(*nodeLocked(child));
        return entries;
      }
      VLSimulatedNode* container = nodeLocked(scope.identifier);
      if (!container || !container->isContainer()) return std::nullopt;
      for (const auto& child : childrenLocked(container->identifier)) add(*nodeLocked(child));
      if (settings_.has(VLSimulatedQuirk::MoveOutAsUpdate)) {
        for (auto& [identifier, node] : nodes_) {
          if (node->formerParent == container->identifier) add(*node);
        }
      }
      return entries;
    }
    case ScopeKind::WorkingSet:
      for (auto& [identifier, node] : nodes_) {
        if (inWorkingSetLocked(*node)) add(*node);
      }
      return entries;
    case ScopeKind::Provider:
      for (auto& [identifier, node] : nodes_) {
        bool visible = node->trashed || !isInTrashLocked(*node);
        if (node->kind != VLSimulatedNode::Kind::Root && visible) add(*node);
      }
      return entries;
  }
  return std::nullopt;
}

std::optional<VLSimulatedStore::Entry> VLSimulatedStore::observedEntryLocked(const VLSimulatedCollection& collection) {
  if (collection.scope().kind != VLSimulatedCollection::ScopeKind::Container) return std::nullopt;
  VLSimulatedNode* container = nodeLocked(collection.scope().identifier);
  if (!container) return std::nullopt;
  return Entry{snapshotLocked(*container), container->revision};
}

void VLSimulatedStore::postLocked(VLSimulatedCollection& collection, bool reload) {
  if (settings_.has(VLSimulatedQuirk::FolderEnumerationHangs) &&
      collection.scope().kind == VLSimulatedCollection::ScopeKind::Container) {
    VLSimulatedNode* container = nodeLocked(collection.scope().identifier);
    if (container && container->kind == VLSimulatedNode::Kind::Folder) return;
  }
  auto entries = entriesLocked(collection);
  if (entries && reload && settings_.has(VLSimulatedQuirk::EnumerationWrongParent)) {
    for (auto& entry : *entries) {
      VLItemAttributes a = entry.item->attributes();
      a.parentItemIdentifier = kWrongParent;
      entry.item = VLItem::make(std::move(a));
    }
  }
  collection.post(std::move(entries), observedEntryLocked(collection), reload);
}

void VLSimulatedStore::publishLocked() {
  std::vector<std::weak_ptr<VLSimulatedCollection>> live;
  for (auto& weak : collections_) {
    auto collection = weak.lock();
    if (!collection || !collection->isObserving()) continue;
    postLocked(*collection, false);
    live.push_back(weak);
  }
  collections_ = std::move(live);
}

void VLSimulatedStore::startPublishing(const std::shared_ptr<VLSimulatedCollection>& collection) {
  std::lock_guard guard(mutex_);
  bool known = std::any_of(collections_.begin(), collections_.end(),
                           [&](const auto& weak) { return weak.lock() == collection; });
  if (!known) collections_.push_back(collection);
  postLocked(*collection, true);
}

void VLSimulatedStore::republish(const std::shared_ptr<VLSimulatedCollection>& collection) {
  std::lock_guard guard(mutex_);
  postLocked(*collection, true);
}

VLSimulatedNode* VLSimulatedStore::nodeForItemLocked(const VLItemRef& item, VLErrorRef* error) {
  if (!item) {
    *error = VLSimulatedErrors::invalidArgument("No item was given.");
    return nullptr;
  }
  VLSimulatedNode* node = nodeLocked(item->itemIdentifier());
  if (!node) *error = VLSimulatedErrors::noSuchItem(item->itemIdentifier());
  return node;
}

VLSimulatedNode* VLSimulatedStore::containerForItemLocked(const VLItemRef& item, VLErrorRef* error) {
  VLSimulatedNode* node = nodeForItemLocked(item, error);
  if (node && !node->isContainer()) {
    *error = VLSimulatedErrors::notSupported(VLFormat("The item \"%@\" is not a folder.", node->filename));
    return nullptr;
  }
  return node;
}

VLErrorRef VLSimulatedStore::collisionErrorLocked(const std::string& parent, const std::string& name,
                                                  const std::string& except) {
  if (settings_.has(VLSimulatedQuirk::NoCollisionCheck)) return nullptr;
  VLSimulatedNode* existing = clashingChildLocked(parent, name, except);
  if (!existing) return nullptr;
  if (settings_.has(VLSimulatedQuirk::CollisionWrongError)) {
    return VLError::makeWithDescription(VLPOSIXErrorDomain, EEXIST,
                                        VLFormat("\"%@\" could not be written: File exists", name));
  }
  VLItemRef reported = snapshotLocked(*existing);
  if (settings_.has(VLSimulatedQuirk::CollisionNamesOtherItem)) {
    if (VLSimulatedNode* folder = nodeLocked(parent)) reported = snapshotLocked(*folder);
  }
  return VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorFilenameCollision,
                       {{VLLocalizedDescriptionKey,
                         VLFormat("An item named \"%@\" already exists in this location.", existing->filename)},
                        {KsVaultlineErrorItem, reported}});
}

std::string VLSimulatedStore::fileTypeLocked(const std::string& name) const {
  if (settings_.has(VLSimulatedQuirk::AllFilesPublicData)) return "public.data";
  return types().preferredIdentifierForExtension(extensionOf(name), std::string("public.data"));
}
