// vlprovider-memory: a minimal provider on the provider kit. Items live in memory; their local
// copies (which the host reads) live in a private temporary folder. It syncs with a pretend
// server that has every file at once, so files can be evicted and downloaded again:
//   vlvalidate --provider "exec:vlprovider-memory" --strict
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>

#include "ProviderKit/VLProviderKit.h"
#include "ProviderKit/VLStoreErrors.h"
#include "ProviderKit/VLStorePlaceholders.h"
#include "ProviderKit/VLStoreTypes.h"
#include "Vaultline/VLConstants.h"

namespace fs = std::filesystem;

namespace {

using E = VLStoreErrors;
using P = VLStorePlaceholders;  // local copies, and placeholders for evicted ones
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
  Node(Kind k, std::string i, std::string p, std::string n, std::string t)
      : kind(k), id(i), parent(p), name(n), type(t) {}
};

std::string folded(std::string name) {  // names collide regardless of (ASCII) letter case
  for (auto& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return name;
}

class MemoryStore : public VLProviderStore {
 public:
  explicit MemoryStore(fs::path directory) : directory_(std::move(directory)) {
    nodes_.emplace(kRoot, Node(Node::Root, kRoot, kRoot, "Memory", "public.folder"));
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
    return P::locate(pathOf(*node), node->kind != Node::File, creating);
  }
  VLStoreItemsResult enumerate(const VLProviderScope& scope) override {
    std::vector<VLItemRef> all, members;
    std::unique_lock lock(mutex_);
    Node* container = find(scope.kind == VLProviderScope::Kind::Container ? scope.container : kRoot);
    if (!container || !container->isContainer()) return {{}, E::noSuchItem(scope.container)};
    for (auto& [id, node] : nodes_) all.push_back(item(node));
    lock.unlock();
    for (auto& candidate : all)
      if (contains(scope, *candidate)) members.push_back(candidate);  // outside the lock
    return {members, nullptr};
  }
  VLStoreCopyResult importItems(const std::vector<VLStoreSource>& sources, const VLItemRef& destination) override {
    VLStoreCopyResult result;
    each({destination}, [&](Node& folder) {
      for (const auto& source : sources) {
        VLItemRef made;
        VLErrorRef error = import(source.path, folder.id, made);
        if (made) result.created.emplace_back(source.path, made);
        if (error) result.failed.emplace_back(source.path, error), result.error = result.error ? result.error : error;
      }
      return VLErrorRef();
    });
    return result;
  }
  VLStoreItemResult createFolder(const VLItemRef& parent, const std::string& name) override {
    VLStoreItemResult result;
    result.error = each({parent}, [&](Node& folder) {
      if (VLErrorRef error = checkName(folder.id, name, "")) return error;
      Node& node = add(Node::Folder, folder.id, name, "public.folder");
      fs::create_directory(pathOf(node));
      return result.item = item(node), VLErrorRef();
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
      return moveInto(node, !target || !target->isContainer() || !target->trashedFrom.empty() ? kRoot : target->id);
    });
  }
  VLErrorRef remove(const Items& items) override {
    return each(items, [&](Node& node) {
      if (node.kind == Node::Root) return E::notSupported("The root cannot be deleted.");
      P::remove(pathOf(node)), touch(node.parent);
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
      if (node.downloaded) P::evict(pathOf(node)), node.downloaded = false;
      return VLErrorRef();
    });
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
  Node* find(const std::string& id) { return nodes_.count(id) ? &nodes_.at(id) : nullptr; }
  std::vector<std::string> subtree(const std::string& id) {  // id and everything inside it
    std::vector<std::string> found{id};
    for (size_t i = 0; i < found.size(); ++i) {
      for (auto& [other, node] : nodes_)
        if (node.parent == found[i] && other != found[i]) found.push_back(other);
    }
    return found;
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
  // Attempts `work` on every item under the lock, then reports what it touched as one change;
  // answers the first failure.
  VLErrorRef each(const Items& items, const std::function<VLErrorRef(Node&)>& work) {
    VLErrorRef first;
    std::unique_lock lock(mutex_);
    for (const auto& target : items) {
      Node* node = find(target->itemIdentifier());
      VLErrorRef error = node ? work(*node) : E::noSuchItem(target->itemIdentifier());
      if (node && !error) touched_.push_back(target->itemIdentifier());
      first = first ? first : error;
    }
    std::vector<std::string> touched;
    touched.swap(touched_), lock.unlock();
    if (changes_) changes_->itemsChanged(std::move(touched));
    return first;
  }
  VLErrorRef checkName(const std::string& parent, const std::string& name, const std::string& self) {
    Node* folder = find(parent);
    if (!folder || !folder->isContainer()) return E::noSuchItem(parent);
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos)
      return E::posix(EINVAL, "Bad name.");
    for (auto& [id, node] : nodes_)
      if (node.parent == parent && id != self && id != parent && folded(node.name) == folded(name))
        return E::collision(item(node));
    return nullptr;
  }
  // Changes a node's name or place and moves its local copy (or placeholder) along.
  VLErrorRef relocate(Node& node, const std::function<void()>& how) {
    fs::path before = pathOf(node);
    touch(node.parent), how(), touch(node.parent);
    P::move(before, pathOf(node));
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
    if (kind == Node::File)
      node.content = std::string(std::istreambuf_iterator<char>(std::ifstream(source).rdbuf()), {}),
      P::restore(pathOf(node), node.content);
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
    return nodes_.insert_or_assign(id, Node(kind, id, parent, name, type)).first->second;
  }
  void fetch(Node& node) {  // downloads again what was evicted
    if (node.kind != Node::File || node.downloaded) return;
    P::restore(pathOf(node), node.content), node.downloaded = true;
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
