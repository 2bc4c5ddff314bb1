// vlprovider-memory: a minimal provider on the provider kit. Items live in memory; their local
// copies (which the host reads) live in a private temporary folder. It syncs with a pretend
// server that has every file at once, so files can be evicted and downloaded again.
//
//   vlvalidate --provider "exec:vlprovider-memory" --strict
#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>

#include "ProviderKit/VLProviderKit.h"
#include "ProviderKit/VLStoreErrors.h"
#include "ProviderKit/VLStoreTypes.h"
#include "Vaultline/VLConstants.h"

namespace fs = std::filesystem;

namespace {

using E = VLStoreErrors;
const std::string kRoot = "KsVaultlineRootContainerItemIdentifier", kTrash = "trash", kProvider = "org.example.memory";

struct Node {
  enum Kind { Root, Folder, File, Package } kind = File;
  std::string id, parent, name, type;
  std::string trashedFrom, content;  // trashedFrom: the folder it left, while in the trash
  VLDate created = VLDate::now(), modified = created;
  bool downloaded = true;
  std::vector<std::shared_ptr<const VLTag>> tags;  // the user's: tags, favourite rank, last-used date
  std::optional<int64_t> rank;
  std::optional<VLDate> lastUsed;
  bool isContainer() const { return kind == Root || kind == Folder; }
  Node() = default;
  Node(Kind k, std::string i, std::string p, std::string n, std::string t) : kind(k), id(i), parent(p), name(n), type(t) {}
};

std::string folded(std::string name) {  // names collide regardless of (ASCII) letter case
  for (auto& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}
std::string readAll(const fs::path& path) {
  return {std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {}};
}
void writeAll(const fs::path& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }
fs::path placeholderOf(const fs::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".placeholder");
}

class MemoryStore : public VLProviderStore {
 public:
  using Work = std::function<VLErrorRef(Node&)>;
  explicit MemoryStore(fs::path directory) : directory_(std::move(directory)) {
    nodes_[kRoot] = Node(Node::Root, kRoot, kRoot, "Memory", "public.folder");
    fs::create_directories(directory_ / "local");
  }
  void attach(std::shared_ptr<VLProviderChanges> changes) override { changes_ = std::move(changes); }
  VLProviderIdentity identity() const override { return {kProvider, kProvider, "", std::nullopt, false, {}}; }
  VLStoreItemResult lookup(const std::string& id) override {
    std::lock_guard lock(mutex_);
    Node* node = find(id);
    return {node ? item(*node) : nullptr, node ? nullptr : E::noSuchItem(id)};
  }
  VLStoreItemResult itemAtPath(const std::string& path) override {
    std::lock_guard lock(mutex_);
    for (auto& [id, node] : nodes_)
      if (pathOf(node) == fs::path(path).lexically_normal()) return {item(node), nullptr};
    return {nullptr, E::noSuchItem(path)};
  }
  VLStoreLocation location(const VLItemRef& target, std::optional<bool> creating) override {
    std::lock_guard lock(mutex_);
    Node* node = find(target->itemIdentifier());
    if (!node) return {std::nullopt, false, E::noSuchItem(target->itemIdentifier())};
    fs::path path = pathOf(*node);
    bool there = fs::exists(path) || fs::exists(placeholderOf(path));
    if (creating == false && !there) return {std::nullopt, false, E::posix(ENOENT, "Nothing is there.")};
    if (creating == true && !there && node->kind == Node::File) writeAll(placeholderOf(path), "");
    return {path.string(), node->kind != Node::File, nullptr};
  }
  VLStoreItemsResult enumerate(const VLProviderScope& scope) override {
    std::vector<VLItemRef> all, members;
    {
      std::lock_guard lock(mutex_);
      Node* container = find(scope.kind == VLProviderScope::Kind::Container ? scope.container : kRoot);
      if (!container || !container->isContainer()) return {{}, E::noSuchItem(scope.container)};
      for (auto& [id, node] : nodes_) all.push_back(item(node));
    }
    for (auto& candidate : all)
      if (contains(scope, *candidate)) members.push_back(candidate);  // outside the lock
    return {members, nullptr};
  }

  VLStoreCopyResult importItems(const std::vector<VLStoreSource>& sources, const VLItemRef& destination) override {
    VLStoreCopyResult result;
    change([&] {
      for (const auto& source : sources) {
        VLItemRef made;
        VLErrorRef error = import(source.path, destination->itemIdentifier(), made);
        if (made) result.created.emplace_back(source.path, made);
        if (error) result.failed.emplace_back(source.path, error), result.error = result.error ? result.error : error;
      }
    });
    return result;
  }
  VLStoreItemResult createFolder(const VLItemRef& parent, const std::string& name) override {
    VLStoreItemResult result;
    change([&] {
      if ((result.error = checkName(parent->itemIdentifier(), name, ""))) return;
      Node& node = add(Node::Folder, parent->itemIdentifier(), name, "public.folder");
      fs::create_directory(pathOf(node));
      result.item = item(node);
    });
    return result;
  }
  VLErrorRef rename(const VLItemRef& target, const std::string& name) override {
    return each({target}, [&](Node& node) {
      VLErrorRef error = checkName(node.parent, name, node.id);
      return error ? error : relocate(node, [&] { node.name = name; });
    });
  }
  VLStoreMoveResult move(const Items& items, const VLItemRef& destination) override {
    VLStoreMoveResult result;
    result.error = each(items, [&](Node& node) {
      VLErrorRef error = moveInto(node, destination->itemIdentifier());
      if (!error) result.moved.emplace_back(node.id, item(node));
      return error;
    });
    return result;
  }
  VLErrorRef trash(const Items& items) override {
    return each(items, [&](Node& node) {
      if (node.kind == Node::Root) return E::notSupported("The root cannot be trashed.");
      if (!node.trashedFrom.empty()) return VLErrorRef();
      return relocate(node, [&] { node.trashedFrom = node.parent, node.parent = kTrash; });
    });
  }
  VLErrorRef untrash(const Items& items, const VLItemRef& restoreDirectory) override {
    return each(items, [&](Node& node) {
      if (node.trashedFrom.empty()) return VLErrorRef();
      Node* target = find(restoreDirectory ? restoreDirectory->itemIdentifier() : node.trashedFrom);
      return moveInto(node, !target || !target->isContainer() || underTrash(*target) ? kRoot : target->id);
    });
  }
  VLErrorRef remove(const Items& items) override {
    return each(items, [&](Node& node) {
      if (node.kind == Node::Root) return E::notSupported("The root cannot be deleted.");
      fs::remove_all(pathOf(node)), fs::remove(placeholderOf(pathOf(node))), touch(node.parent);
      for (const auto& id : subtree(node.id)) touched_.push_back(id), nodes_.erase(id);
      return VLErrorRef();
    });
  }
  VLErrorRef setTags(const Items& items, const std::vector<TagList>& lists) override {
    return each(items, [&, i = size_t(0)](Node& node) mutable { return node.tags = lists[i++], VLErrorRef(); });
  }
  VLErrorRef setFavoriteRanks(const Items& items, const std::vector<int64_t>& ranks) override {
    return each(items, [&, i = size_t(0)](Node& node) mutable { return node.rank = ranks[i++], VLErrorRef(); });
  }
  VLErrorRef setLastUsedDate(const Items& items, VLDate date) override {
    return each(items, [&](Node& node) { return node.lastUsed = date, VLErrorRef(); });
  }
  VLStoreItemsResult download(const Items& items) override {
    VLStoreItemsResult result;
    result.error =
        each(items, [&](Node& node) { return fetch(node), result.items.push_back(item(node)), VLErrorRef(); });
    return result;
  }
  VLErrorRef evict(const Items& items) override {
    return each(items, [&](Node& node) {
      if (node.kind != Node::File) return E::notSupported("Only files can be evicted.");
      if (node.downloaded) fs::remove(pathOf(node)), writeAll(placeholderOf(pathOf(node)), ""), node.downloaded = false;
      return VLErrorRef();
    });
  }
  VLStoreThumbnail thumbnail(const VLItemRef& target, double, double, double) override {
    std::lock_guard lock(mutex_);
    Node* node = find(target->itemIdentifier());
    if (!node) return {std::nullopt, "", E::noSuchItem(target->itemIdentifier())};
    if (node->content.rfind("\x89PNG", 0) != 0 && node->content.rfind("\xFF\xD8", 0) != 0) return {};  // no image
    return {VLData(node->content.data(), node->content.size()), VLThumbnailFormatUndecorated,
            nullptr};  // the host scales it
  }
  VLStoreFileState fileState(const std::string& path) override {
    if (fs::exists(path)) return VLStoreFileState::Materialized;
    return fs::exists(placeholderOf(path)) ? VLStoreFileState::Placeholder : VLStoreFileState::Absent;
  }
  VLErrorRef materialize(const std::string& path) override {
    if (auto found = itemAtPath(path); found.item)
      each({found.item}, [&](Node& node) { return fetch(node), VLErrorRef(); });
    return nullptr;
  }
  VLStoreValidationAnswer allowValidation(const std::string&) override {
    return {true, {{"IsSyncingProvider", true}, {"HasNoWorkingSet", false}}, nullptr};
  }

 private:
  Node* find(const std::string& id) {
    auto found = nodes_.find(id);
    return found == nodes_.end() ? nullptr : &found->second;
  }
  std::vector<std::string> subtree(const std::string& id) {  // id and everything inside it
    std::vector<std::string> found{id};
    for (size_t i = 0; i < found.size(); ++i) {
      for (auto& [other, node] : nodes_)
        if (node.parent == found[i] && other != found[i]) found.push_back(other);
    }
    return found;
  }
  bool underTrash(Node& node) {
    Node* at = &node;
    while (at && at->kind != Node::Root && at->trashedFrom.empty()) at = find(at->parent);
    return at && !at->trashedFrom.empty();
  }
  fs::path pathOf(Node& node) {
    if (node.kind == Node::Root) return directory_ / "local";
    if (!node.trashedFrom.empty()) return directory_ / "trash" / node.id / node.name;
    return pathOf(*find(node.parent)) / node.name;
  }
  void touch(const std::string& id) {
    touched_.push_back(id);
    if (Node* node = find(id)) node->modified = VLDate::now();
  }
  // Runs `work` under the lock, then reports every item it touched as one change.
  void change(const std::function<void()>& work) {
    std::unique_lock lock(mutex_);
    work();
    std::vector<std::string> touched = std::move(touched_);
    touched_.clear(), lock.unlock();
    if (changes_) changes_->itemsChanged(std::move(touched));
  }
  // Attempts `work` on every item, as one change; answers the first failure.
  VLErrorRef each(const Items& items, const Work& work) {
    VLErrorRef first;
    change([&] {
      for (const auto& target : items) {
        Node* node = find(target->itemIdentifier());
        VLErrorRef error = node ? work(*node) : E::noSuchItem(target->itemIdentifier());
        if (node && !error) touched_.push_back(target->itemIdentifier());
        first = first ? first : error;
      }
    });
    return first;
  }
  VLErrorRef checkName(const std::string& parent, const std::string& name, const std::string& self) {
    Node* folder = find(parent);
    if (!folder || !folder->isContainer()) return E::noSuchItem(parent);
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
      return E::posix(EINVAL, "Bad name.");
    for (auto& [id, node] : nodes_) {
      if (node.parent == parent && id != self && id != parent && folded(node.name) == folded(name))
        return E::collision(item(node));
    }
    return nullptr;
  }
  // Changes a node's name or place and moves its local copy (or placeholder) along.
  VLErrorRef relocate(Node& node, const std::function<void()>& how) {
    fs::path before = pathOf(node);
    touch(node.parent), how(), touch(node.parent);
    fs::path after = pathOf(node);
    fs::create_directories(after.parent_path());
    for (auto [from, to] : {std::pair{before, after}, std::pair{placeholderOf(before), placeholderOf(after)}})
      if (fs::exists(from)) fs::rename(from, to);
    if (before.parent_path().parent_path() == directory_ / "trash") fs::remove(before.parent_path());
    for (const auto& id : subtree(node.id)) touched_.push_back(id);  // their membership follows the folder's
    return nullptr;
  }
  VLErrorRef moveInto(Node& node, const std::string& folder) {
    auto inside = subtree(node.id);
    if (std::find(inside.begin(), inside.end(), folder) != inside.end()) return E::posix(EINVAL, "Not into itself.");
    VLErrorRef error = checkName(folder, node.name, node.id);
    return error ? error : relocate(node, [&] { node.parent = folder, node.trashedFrom.clear(); });
  }
  VLErrorRef import(const fs::path& source, const std::string& parent, VLItemRef& made) {
    std::string name = source.filename().string();
    if (auto error = checkName(parent, name, "")) return error;
    std::error_code problem;
    if (!fs::exists(source, problem)) return E::posix(ENOENT, "Nothing is at " + source.string() + ".");
    bool directory = fs::is_directory(source, problem);
    Node::Kind kind = !directory ? Node::File : types_.isPackage(name) ? Node::Package : Node::Folder;
    Node& node = add(kind, parent, name, types_.typeFor(name, directory));
    if (kind == Node::File) node.content = readAll(source), writeAll(pathOf(node), node.content);
    if (kind == Node::Package) fs::copy(source, pathOf(node), fs::copy_options::recursive, problem);
    if (kind == Node::Folder) fs::create_directory(pathOf(node), problem);
    if (problem) return E::posix(problem.value(), problem.message());
    std::vector<fs::path> children;
    if (kind == Node::Folder) children.assign(fs::directory_iterator(source), fs::directory_iterator());
    std::sort(children.begin(), children.end());
    for (const auto& child : children)
      if (VLItemRef inner; auto error = import(child, node.id, inner)) return error;
    made = item(*find(node.id));
    return nullptr;
  }
  Node& add(Node::Kind kind, const std::string& parent, const std::string& name, const std::string& type) {
    std::string id = "item-" + std::to_string(next_++);
    touched_.push_back(id), touch(parent);
    return nodes_[id] = Node(kind, id, parent, name, type);
  }
  void fetch(Node& node) {  // downloads again what was evicted
    if (node.kind != Node::File || node.downloaded) return;
    writeAll(pathOf(node), node.content), fs::remove(placeholderOf(pathOf(node)));
    node.downloaded = true;
  }
  VLItemRef item(Node& node) {
    VLItemAttributes a;
    a.providerIdentifier = a.providerID = kProvider;
    a.itemIdentifier = node.id, a.parentItemIdentifier = node.parent, a.typeIdentifier = node.type;
    a.filename = a.displayName = node.name, a.isFolder = a.isContainer = node.isContainer();
    a.capabilities = node.kind == Node::Root ? 7 : node.isContainer() ? 255 : 249;
    if (!node.isContainer()) a.documentSize = static_cast<int64_t>(node.content.size());
    if (node.isContainer())
      a.childItemCount = std::count_if(nodes_.begin(), nodes_.end(), [&](auto& other) {
        return other.second.parent == node.id && other.first != node.id;
      });
    a.creationDate = node.created, a.contentModificationDate = node.modified, a.lastUsedDate = node.lastUsed;
    a.isCloudItem = a.uploaded = true, a.downloaded = a.mostRecentVersionDownloaded = node.downloaded;
    a.trashed = !node.trashedFrom.empty(), a.favoriteRank = node.rank, a.tags = node.tags;
    return VLItem::make(std::move(a));
  }

  const fs::path directory_;
  const VLStoreTypes types_;
  std::shared_ptr<VLProviderChanges> changes_;
  std::mutex mutex_;
  std::map<std::string, Node> nodes_;  // guarded by mutex_, as is everything below
  std::vector<std::string> touched_;
  uint64_t next_ = 1;
};

}  // namespace

int main(int argc, char** argv) {
  std::string folder = (fs::temp_directory_path() / "vlprovider-memory-XXXXXX").string();
  if (!::mkdtemp(folder.data())) return 1;  // mkdtemp makes it mode 0700
  int status = VLProviderKit::main(argc, argv, std::make_shared<MemoryStore>(folder));
  std::error_code ignored;
  fs::remove_all(folder, ignored);
  return status;
}
