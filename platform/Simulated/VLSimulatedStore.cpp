#include "Simulated/VLSimulatedStore.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <system_error>

#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Core/VLText.h"
#include "Simulated/VLSimulatedBulkSeed.h"
#include "Simulated/VLSimulatedCollectionOrder.h"
#include "Simulated/VLSimulatedErrors.h"
#include "Vaultline/VLConstants.h"

namespace fs = std::filesystem;

const std::string& VLSimulatedTrashContainerIdentifier = *new std::string("SimulatedTrashContainer");

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
  store->seedLocked();
  store->changed_.clear();  // no collection has a listing yet
  return store;
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
  auto found = identifier.rfind(aliasPrefix(), 0) == 0 ? nodes_.find(identifier.substr(aliasPrefix().size()))
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

std::vector<std::string> VLSimulatedStore::subtreeLocked(const std::string& identifier) const {
  std::vector<std::string> subtree{identifier};
  for (size_t i = 0; i < subtree.size(); ++i) {
    for (auto& child : childrenLocked(subtree[i])) subtree.push_back(std::move(child));
  }
  return subtree;
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
  bool caseSensitive = quirks().namesAreCaseSensitive();
  std::string wanted = caseSensitive ? name : vl_lowercase(name);
  for (const auto& child : childrenLocked(parent)) {
    VLSimulatedNode* node = nodeLocked(child);
    if (!node || node->identifier == except) continue;
    if ((caseSensitive ? node->filename : vl_lowercase(node->filename)) == wanted) return node;
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
  changed_.insert(identifier);
  auto& stored = nodes_[identifier];
  stored = std::make_unique<VLSimulatedNode>(std::move(node));
  return *stored;
}

void VLSimulatedStore::removeNodeLocked(const std::string& identifier) {
  auto found = nodes_.find(identifier);
  if (found == nodes_.end()) return;
  changed_.insert(identifier);
  children_[found->second->parent].erase(identifier);
  children_.erase(identifier);
  nodes_.erase(found);
}

VLSimulatedNode& VLSimulatedStore::reidentifyLocked(const std::string& identifier) {
  auto found = nodes_.find(identifier);
  auto node = std::move(found->second);
  nodes_.erase(found);
  changed_.insert(identifier);
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
  const bool wasInTrash = isInTrashLocked(node);
  children_[node.parent].erase(node.identifier);
  node.parent = parent;
  // Being trashed is being in the trash, however an item gets in or out of it.
  node.trashed = parent == VLSimulatedTrashContainerIdentifier;
  if (!node.trashed) node.trashedFrom.clear();
  children_[parent].insert(node.identifier);
  touchLocked(node);
  // Whether the descendants are in the trash follows the item: the wide scopes look at them too.
  if (isInTrashLocked(node) != wasInTrash) {
    for (auto& identifier : subtreeLocked(node.identifier)) changed_.insert(std::move(identifier));
  }
}

void VLSimulatedStore::touchLocked(VLSimulatedNode& node) {
  ++node.revision;
  node.snapshot = nullptr;
  changed_.insert(node.identifier);
}


void VLSimulatedStore::refreshChildCountLocked(const std::string& identifier) {
  VLSimulatedNode* node = nodeLocked(identifier);
  if (!node || !node->isContainer() || quirks().keepsChildCountStale()) return;
  auto count = static_cast<int64_t>(childrenLocked(identifier).size());
  if (count == node->reportedChildCount) return;
  node->reportedChildCount = count;
  node->modificationDate = VLDate::now();
  touchLocked(*node);
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
  if (quirks().skipsCollisionCheck()) return nullptr;
  VLSimulatedNode* existing = clashingChildLocked(parent, name, except);
  if (!existing) return nullptr;
  if (quirks().collisionGivesPlainError()) {
    return VLError::makeWithDescription(VLPOSIXErrorDomain, EEXIST,
                                        VLFormat("\"%@\" could not be written: File exists", name));
  }
  VLItemRef reported = snapshotLocked(*existing);
  if (quirks().collisionNamesOtherItem()) {
    if (VLSimulatedNode* folder = nodeLocked(parent)) reported = snapshotLocked(*folder);
  }
  return VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorFilenameCollision,
                       {{VLLocalizedDescriptionKey,
                         VLFormat("An item named \"%@\" already exists in this location.", existing->filename)},
                        {KsVaultlineErrorItem, reported}});
}

std::string VLSimulatedStore::fileTypeLocked(const std::string& name) const {
  if (quirks().typesEverythingAsData()) return "public.data";
  return types().preferredIdentifierForExtension(extensionOf(name), std::string("public.data"));
}
