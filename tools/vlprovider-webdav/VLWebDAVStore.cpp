#include "VLWebDAVStore.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>

#include "ProviderKit/VLStoreErrors.h"
#include "Vaultline/VLConstants.h"

namespace fs = std::filesystem;

namespace {

using E = VLStoreErrors;
// Immortal: a session thread may still read them while the process exits.
const std::string& kRootID = *new std::string("KsVaultlineRootContainerItemIdentifier");
const std::string& kTrashID = *new std::string("trash");
const std::string& kProviderID = *new std::string("org.vaultline.webdav");

std::string foldedName(std::string name) {  // the host compares names regardless of (ASCII) case
  for (auto& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}
fs::path placeholderFor(const fs::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".placeholder");
}
std::string join(const std::string& folder, const std::string& name) { return folder.empty() ? name : folder + "/" + name; }
std::string lastSegment(const std::string& path) {
  auto slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}
std::string parentOf(const std::string& path) {
  auto slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}
std::vector<std::shared_ptr<const VLTag>> tagsFromText(const std::string& text) {
  // One tag a line: the colour, a space, the label.
  std::vector<std::shared_ptr<const VLTag>> tags;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    auto space = line.find(' ');
    if (space != std::string::npos)
      tags.push_back(VLTag::make(line.substr(space + 1), std::strtoll(line.c_str(), nullptr, 10)));
    start = end + 1;
  }
  return tags;
}

}  // namespace

const std::string& VLWebDAVStore::kTrashCollection = *new std::string(".vaultline-trash");

VLWebDAVStore::VLWebDAVStore(Options options)
    : options_(std::move(options)), client_(options_.url, options_.credentials, options_.requestTimeout) {
  Node root;
  root.kind = Node::Root, root.id = root.parent = kRootID, root.name = "WebDAV";
  nodes_[kRootID] = root;
  fs::create_directories(options_.cache / "local");
  fs::create_directories(options_.cache / "trash");
}

VLErrorRef VLWebDAVStore::connect() {
  std::lock_guard lock(mutex_);
  auto answer = client_.request("PROPFIND", "", {{"Depth", "0"}, {"Content-Type", "application/xml"}},
                                VLWebDAVMultistatus::propfindBody());
  if (answer.error) return answer.error;
  if (answer.status != 207) return unexpected(answer, "PROPFIND of the root");
  if (auto error = ensureTrash()) return error;
  // Whether the server keeps dead properties decides whether there is a working set at all.
  auto probe = client_.request("PROPPATCH", kTrashCollection + "/", {{"Content-Type", "application/xml"}},
                               VLWebDAVMultistatus::proppatchBody({{"probe", std::string("1")}}));
  std::vector<long> statuses;
  VLErrorRef error;
  if (!probe.error && probe.status == 207) statuses = VLWebDAVMultistatus::propstatStatuses(probe.body, error);
  deadProperties_ = !error && !statuses.empty() &&
                    std::all_of(statuses.begin(), statuses.end(), [](long status) { return status == 200; });
  if (deadProperties_)
    client_.request("PROPPATCH", kTrashCollection + "/", {{"Content-Type", "application/xml"}},
                    VLWebDAVMultistatus::proppatchBody({{"probe", std::nullopt}}));
  return nullptr;
}

void VLWebDAVStore::attach(std::shared_ptr<VLProviderChanges> changes) { changes_ = std::move(changes); }

VLProviderIdentity VLWebDAVStore::identity() const { return {kProviderID, kProviderID, "", std::nullopt, false, {}}; }

VLStoreItemResult VLWebDAVStore::lookup(const std::string& id) {
  std::lock_guard lock(mutex_);
  Node* node = find(id);
  return {node ? item(*node) : nullptr, node ? nullptr : E::noSuchItem(id)};
}

VLStoreItemResult VLWebDAVStore::itemAtPath(const std::string& path) {
  std::lock_guard lock(mutex_);
  fs::path wanted = fs::path(path).lexically_normal();
  for (auto& [id, node] : nodes_)
    if (localPath(node) == wanted || placeholderFor(localPath(node)) == wanted) return {item(node), nullptr};
  return {nullptr, E::noSuchItem(path)};
}

VLStoreLocation VLWebDAVStore::location(const VLItemRef& target, std::optional<bool> creating) {
  std::lock_guard lock(mutex_);
  Node* node = find(target->itemIdentifier());
  if (!node) return {std::nullopt, false, E::noSuchItem(target->itemIdentifier())};
  fs::path path = localPath(*node);
  std::error_code ignored;
  if (node->isContainer()) fs::create_directories(path, ignored);
  bool there = fs::exists(path) || fs::exists(placeholderFor(path));
  if (creating == false && !there) return {std::nullopt, false, E::posix(ENOENT, "Nothing is there.")};
  if (creating == true && !there && node->kind == Node::File) {
    fs::create_directories(path.parent_path(), ignored);
    std::ofstream(placeholderFor(path));
  }
  return {path.string(), node->kind != Node::File, nullptr};
}

VLStoreItemsResult VLWebDAVStore::enumerate(const VLProviderScope& scope) {
  std::vector<VLItemRef> candidates;
  std::vector<std::string> found;
  VLStoreItemsResult result;
  {
    std::lock_guard lock(mutex_);
    result = members(scope, candidates);
    found.swap(touched_);
  }
  // What the refresh found changed reaches the other subscriptions too (the kit queues it).
  if (changes_ && !found.empty()) changes_->itemsChanged(std::move(found));
  for (auto& candidate : candidates)
    if (contains(scope, *candidate)) result.items.push_back(candidate);  // looks items up: outside the lock
  return result;
}

VLStoreItemsResult VLWebDAVStore::members(const VLProviderScope& scope, std::vector<VLItemRef>& candidates) {
  VLStoreItemsResult result;
  if (scope.kind == VLProviderScope::Kind::Container) {
    if (scope.container == kTrashID) {  // the bridge alone moves items into the trash
      for (auto& [id, node] : nodes_)
        if (node.parent == kTrashID) result.items.push_back(item(node));
      return result;
    }
    Node* container = find(scope.container);
    if (!container || !container->isContainer()) return {{}, E::noSuchItem(scope.container)};
    if ((result.error = refresh(scope.container))) return result;
    for (Node* child : childrenOf(scope.container)) result.items.push_back(item(*child));
    return result;
  }
  if (scope.kind == VLProviderScope::Kind::WorkingSet && !deadProperties_)
    return {{}, E::notSupported("This provider has no working set: the WebDAV server does not keep dead properties.")};
  if ((result.error = refreshTree(kRootID))) return result;
  for (auto& [id, node] : nodes_) candidates.push_back(item(node));
  return result;
}

VLStoreThumbnail VLWebDAVStore::thumbnail(const VLItemRef& target, double, double, double) {
  std::lock_guard lock(mutex_);
  Node* node = find(target->itemIdentifier());
  if (!node) return {std::nullopt, "", E::noSuchItem(target->itemIdentifier())};
  if (node->kind != Node::File) return {};
  std::string content;
  if (node->downloaded()) {
    std::ifstream in(localPath(*node), std::ios::binary);
    content.assign(std::istreambuf_iterator<char>(in), {});
  } else {
    auto answer = client_.request("GET", serverPath(*node));
    if (answer.error) return {std::nullopt, "", answer.error};
    if (answer.status != 200) return {std::nullopt, "", unexpected(answer, "GET")};
    content = std::move(answer.body);
  }
  if (content.rfind("\x89PNG\r\n\x1a\n", 0) != 0 && content.rfind("\xFF\xD8\xFF", 0) != 0) return {};  // no image
  return {VLData(content.data(), content.size()), VLThumbnailFormatUndecorated, nullptr};  // the host scales it
}

VLStoreFileState VLWebDAVStore::fileState(const std::string& path) {
  if (fs::exists(path)) return VLStoreFileState::Materialized;
  return fs::exists(placeholderFor(path)) ? VLStoreFileState::Placeholder : VLStoreFileState::Absent;
}

VLErrorRef VLWebDAVStore::materialize(const std::string& path) {
  auto found = itemAtPath(path);
  if (!found.item) return nullptr;  // not ours
  VLErrorRef error;
  change([&] {
    if (Node* node = find(found.item->itemIdentifier()); node && !node->downloaded())
      error = fetch(*node), touch(node->id);
  });
  return error;
}

VLStoreValidationAnswer VLWebDAVStore::allowValidation(const std::string&) {
  return {true, {{"IsSyncingProvider", true}, {"HasNoWorkingSet", !deadProperties_}}, nullptr};
}

// ── The index ──

VLWebDAVStore::Node* VLWebDAVStore::find(const std::string& id) {
  auto found = nodes_.find(id);
  return found == nodes_.end() ? nullptr : &found->second;
}

std::vector<VLWebDAVStore::Node*> VLWebDAVStore::childrenOf(const std::string& id) {
  std::vector<Node*> children;
  for (auto& [other, node] : nodes_)
    if (node.parent == id && other != id) children.push_back(&node);
  return children;
}

std::vector<std::string> VLWebDAVStore::subtree(const std::string& id) {
  std::vector<std::string> found{id};
  for (size_t i = 0; i < found.size(); ++i)
    for (Node* child : childrenOf(found[i])) found.push_back(child->id);
  return found;
}

bool VLWebDAVStore::underTrash(Node& node) {
  Node* at = &node;
  while (at && at->kind != Node::Root && at->trashedFrom.empty()) at = find(at->parent);
  return at && !at->trashedFrom.empty();
}

std::string VLWebDAVStore::serverPath(Node& node) {
  if (node.kind == Node::Root) return "";
  if (!node.trashedFrom.empty()) return kTrashCollection + "/" + node.id + "/" + node.name;
  Node* parent = find(node.parent);
  return join(parent ? serverPath(*parent) : "", node.name);
}

fs::path VLWebDAVStore::localPath(Node& node) {
  if (node.kind == Node::Root) return options_.cache / "local";
  if (!node.trashedFrom.empty()) return options_.cache / "trash" / node.id / node.name;
  Node* parent = find(node.parent);
  return (parent ? localPath(*parent) : options_.cache / "local") / node.name;
}

VLItemRef VLWebDAVStore::item(Node& node) {
  VLItemAttributes a;
  a.providerIdentifier = a.providerID = kProviderID;
  a.itemIdentifier = node.id, a.parentItemIdentifier = node.parent;
  a.typeIdentifier = node.kind == Node::Root ? "public.folder" : types_.typeFor(node.name, node.kind != Node::File);
  a.filename = a.displayName = node.name, a.isFolder = a.isContainer = node.isContainer();
  a.capabilities = node.kind == Node::Root ? 7 : node.isContainer() ? 255 : 249;
  if (!node.isContainer()) a.documentSize = node.size.value_or(0);
  if (node.isContainer()) a.childItemCount = static_cast<int64_t>(childrenOf(node.id).size());
  a.creationDate = node.created ? node.created : node.modified, a.contentModificationDate = node.modified;
  a.lastUsedDate = node.lastUsed;
  a.isCloudItem = a.uploaded = true;
  a.downloaded = a.mostRecentVersionDownloaded = node.downloaded();
  a.supportsMostRecentVersionDownloaded = true;
  a.trashed = !node.trashedFrom.empty(), a.favoriteRank = node.rank, a.tags = node.tags;
  return VLItem::make(std::move(a));
}

VLWebDAVStore::Node& VLWebDAVStore::add(Node::Kind kind, const std::string& parent, const std::string& name) {
  std::string id = "item-" + std::to_string(next_++);
  Node& node = nodes_[id];
  node.kind = kind, node.id = id, node.parent = parent, node.name = name;
  node.created = node.modified = VLDate::now();
  touch(id), touch(parent);
  return node;
}

void VLWebDAVStore::forget(const std::string& id) {
  Node* node = find(id);
  if (!node) return;
  std::error_code ignored;
  fs::remove_all(localPath(*node), ignored), fs::remove(placeholderFor(localPath(*node)), ignored);
  if (!node->trashedFrom.empty()) fs::remove_all(localPath(*node).parent_path(), ignored);  // its slot in the trash
  touch(node->parent);
  for (const auto& inner : subtree(id)) touch(inner), nodes_.erase(inner);
}

// ── The server ──

VLErrorRef VLWebDAVStore::unexpected(const VLWebDAVClient::Response& answer, const std::string& what) {
  if (answer.error) return answer.error;
  return E::posix(EIO, "The WebDAV server at " + client_.baseURL() + " answered " + what + " with status " +
                           std::to_string(answer.status) + ".");
}

void VLWebDAVStore::adopt(Node& node, const VLWebDAVEntry& entry) {
  node.size = entry.size;
  if (entry.modified) node.modified = entry.modified;
  if (entry.created) node.created = entry.created;
  // Apache calls an ETag weak while the file is less than a second old and strong after, with
  // the same tag: only the tag tells whether the content changed.
  std::string etag = entry.etag.rfind("W/", 0) == 0 ? entry.etag.substr(2) : entry.etag;
  std::string version = !etag.empty() ? etag
                                            : std::to_string(entry.size.value_or(-1)) + "@" +
                                                  std::to_string(entry.modified ? entry.modified->timeIntervalSince1970() : 0);
  if (node.kind == Node::File && !node.cachedVersion.empty() && node.version != version && !node.version.empty()) {
    // Someone else changed the content: the local copy is out of date, so it goes.
    std::error_code ignored;
    fs::remove(localPath(node), ignored);
    std::ofstream(placeholderFor(localPath(node)));
    node.cachedVersion.clear();
  }
  if (node.kind == Node::File && !node.cachedVersion.empty()) node.cachedVersion = version;
  node.version = version;
  if (!deadProperties_) return;
  node.tags = entry.tags ? tagsFromText(*entry.tags) : decltype(node.tags){};
  node.rank = entry.favoriteRank ? std::optional<int64_t>(std::strtoll(entry.favoriteRank->c_str(), nullptr, 10))
                                 : std::nullopt;
  node.lastUsed = entry.lastUsed ? std::optional<VLDate>(VLDate(std::strtod(entry.lastUsed->c_str(), nullptr)))
                                 : std::nullopt;
}

VLErrorRef VLWebDAVStore::refresh(const std::string& containerId) {
  Node* container = find(containerId);
  if (!container) return E::noSuchItem(containerId);
  std::string path = serverPath(*container);
  auto answer = client_.request("PROPFIND", path + "/", {{"Depth", "1"}, {"Content-Type", "application/xml"}},
                                VLWebDAVMultistatus::propfindBody());
  if (answer.error) return answer.error;
  if (answer.status == 404 && container->kind != Node::Root) {
    forget(containerId);  // gone from the server
    return E::noSuchItem(containerId);
  }
  if (answer.status != 207) return unexpected(answer, "PROPFIND of \"" + path + "\"");
  VLErrorRef error;
  auto entries = VLWebDAVMultistatus::parse(answer.body, error);
  if (error) return error;
  std::map<std::string, Node*> known;
  for (Node* child : childrenOf(containerId)) known[child->name] = child;
  std::map<std::string, bool> seen;
  for (const auto& entry : entries) {
    auto relative = client_.relativePath(entry.href);
    if (!relative || *relative == path || parentOf(*relative) != path) continue;
    std::string name = lastSegment(*relative);
    if (name.empty() || (container->kind == Node::Root && name == kTrashCollection)) continue;
    seen[name] = true;
    Node::Kind kind = !entry.isCollection ? Node::File : types_.isPackage(name) ? Node::Package : Node::Folder;
    Node* node = known.count(name) ? known[name] : nullptr;
    if (node && node->kind != kind) forget(node->id), node = nullptr;  // replaced by something else
    if (!node) node = &add(kind, containerId, name);
    adopt(*node, entry);
  }
  for (auto& [name, node] : known)
    if (!seen.count(name) && find(node->id)) forget(node->id);
  return nullptr;
}

VLErrorRef VLWebDAVStore::refreshTree(const std::string& containerId) {
  if (auto error = refresh(containerId)) return error;
  std::vector<std::string> folders;
  for (Node* child : childrenOf(containerId))
    if (child->kind == Node::Folder) folders.push_back(child->id);
  for (const auto& folder : folders)
    if (find(folder))
      if (auto error = refreshTree(folder); error && find(folder)) return error;
  return nullptr;
}

VLErrorRef VLWebDAVStore::checkName(const std::string& parent, const std::string& name, const std::string& self) {
  Node* folder = find(parent);
  if (!folder || !folder->isContainer()) return E::noSuchItem(parent);
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
      (folder->kind == Node::Root && foldedName(name) == kTrashCollection))
    return E::posix(EINVAL, "The name \"" + name + "\" cannot be used.");
  if (auto error = refresh(parent)) return error;  // names others made count too
  for (Node* child : childrenOf(parent))
    if (child->id != self && foldedName(child->name) == foldedName(name)) return E::collision(item(*child));
  return nullptr;
}

VLErrorRef VLWebDAVStore::ensureTrash() {
  if (trashMade_) return nullptr;
  auto answer = client_.request("MKCOL", kTrashCollection + "/");
  if (answer.error) return answer.error;
  if (answer.status != 201 && answer.status != 405) return unexpected(answer, "MKCOL of the trash collection");
  trashMade_ = true;
  return nullptr;
}

void VLWebDAVStore::change(const std::function<void()>& work) {
  std::unique_lock lock(mutex_);
  work();
  std::vector<std::string> touched = std::move(touched_);
  touched_.clear(), lock.unlock();
  if (changes_ && !touched.empty()) changes_->itemsChanged(std::move(touched));
}

VLErrorRef VLWebDAVStore::each(const Items& items, const Work& work) {
  VLErrorRef first;
  change([&] {
    for (const auto& target : items) {
      Node* node = find(target->itemIdentifier());
      VLErrorRef error = node ? work(*node) : E::noSuchItem(target->itemIdentifier());
      if (node && !error && find(target->itemIdentifier())) touch(target->itemIdentifier());
      first = first ? first : error;
    }
  });
  return first;
}
