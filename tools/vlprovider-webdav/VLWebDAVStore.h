// VLWebDAVStore: a provider store that bridges to a WebDAV server. The server holds the files;
// a cache folder holds the local copies the host reads, so download and evict are real. Items
// come from PROPFIND and the bridge gives them identifiers of its own, which follow the items
// through the bridge's own renames, moves and trash. Changes made on the server by others are
// found by the kit's polling, which re-enumerates every open scope each interval.
//
// Names collide regardless of case, and nothing on the server is overwritten: the bridge looks
// first, and also sends If-None-Match: * on PUT and Overwrite: F on MOVE, because some servers
// ignore the condition. Tags, favourite rank and last-used date are dead properties in the
// bridge's own namespace; on a server that refuses them they are "not supported" and the
// provider says it has no working set. The trash is a hidden collection on the server.
//
// Thread-safe: one lock guards the index and the cache; requests are made under it, each with
// a time-out, so a slow server delays answers but never hangs them.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ProviderKit/VLProviderChanges.h"
#include "ProviderKit/VLProviderStore.h"
#include "ProviderKit/VLStoreTypes.h"
#include "VLWebDAVClient.h"
#include "VLWebDAVMultistatus.h"

class VLWebDAVStore : public VLProviderStore {
 public:
  struct Options {
    std::string url;          // the collection that is the storage's root
    std::string credentials;  // "user:password", or empty
    std::chrono::milliseconds pollInterval{1000};
    std::chrono::milliseconds requestTimeout{10000};
    std::filesystem::path cache;  // the local copies; must exist
  };
  // The name of the hidden collection at the root that holds the trash.
  static const std::string& kTrashCollection;

  explicit VLWebDAVStore(Options options);

  // Asks the server for its root and whether it keeps dead properties; the error says why the
  // server cannot be used (unreachable, credentials refused, no WebDAV there).
  VLErrorRef connect();
  bool keepsDeadProperties() const { return deadProperties_; }

  void attach(std::shared_ptr<VLProviderChanges> changes) override;
  std::optional<std::chrono::milliseconds> pollInterval() const override { return options_.pollInterval; }
  VLProviderIdentity identity() const override;

  VLStoreItemResult lookup(const std::string& identifier) override;
  VLStoreItemResult itemAtPath(const std::string& path) override;
  VLStoreLocation location(const VLItemRef& item, std::optional<bool> creatingPlaceholder) override;
  VLStoreItemsResult enumerate(const VLProviderScope& scope) override;

  VLStoreCopyResult importItems(const std::vector<VLStoreSource>& sources, const VLItemRef& destination) override;
  VLStoreItemResult createFolder(const VLItemRef& parent, const std::string& name) override;
  VLErrorRef rename(const VLItemRef& item, const std::string& newName) override;
  VLStoreMoveResult move(const Items& items, const VLItemRef& destination) override;
  VLErrorRef trash(const Items& items) override;
  VLErrorRef untrash(const Items& items, const VLItemRef& restoreDirectory) override;
  VLErrorRef remove(const Items& items) override;
  VLErrorRef setTags(const Items& items, const std::vector<TagList>& tagLists) override;
  VLErrorRef setFavoriteRanks(const Items& items, const std::vector<int64_t>& ranks) override;
  VLErrorRef setLastUsedDate(const Items& items, VLDate date) override;
  VLStoreItemsResult download(const Items& items) override;
  VLErrorRef evict(const Items& items) override;

  VLStoreThumbnail thumbnail(const VLItemRef& item, double width, double height, double scale) override;
  VLStoreFileState fileState(const std::string& path) override;
  VLErrorRef materialize(const std::string& path) override;
  VLStoreValidationAnswer allowValidation(const std::string& token) override;

 private:
  struct Node {
    enum Kind { Root, Folder, File, Package } kind = File;
    std::string id, parent, name;
    std::string trashedFrom;  // the folder it left, while in the trash
    std::optional<int64_t> size;
    std::optional<VLDate> created, modified;
    std::string version;         // the server's etag (or size and date): what the cache holds
    std::string cachedVersion;   // the version of the local copy; empty: not downloaded
    std::vector<std::shared_ptr<const VLTag>> tags;
    std::optional<int64_t> rank;
    std::optional<VLDate> lastUsed;
    bool isContainer() const { return kind == Root || kind == Folder; }
    bool downloaded() const { return kind == Root || kind == Folder || !cachedVersion.empty(); }
  };
  using Work = std::function<VLErrorRef(Node&)>;

  // Index (all under mutex_).
  Node* find(const std::string& id);
  std::vector<std::string> subtree(const std::string& id);
  std::vector<Node*> childrenOf(const std::string& id);
  bool underTrash(Node& node);
  std::string serverPath(Node& node);
  std::filesystem::path localPath(Node& node);
  VLItemRef item(Node& node);
  Node& add(Node::Kind kind, const std::string& parent, const std::string& name);
  void forget(const std::string& id);  // the item and what is inside it, with their local copies
  void touch(const std::string& id) { touched_.push_back(id); }

  // The server (under mutex_).
  // A scope's members (containers), or the candidates to filter with contains() (the others).
  VLStoreItemsResult members(const VLProviderScope& scope, std::vector<VLItemRef>& candidates);
  VLErrorRef refresh(const std::string& containerId);
  VLErrorRef refreshTree(const std::string& containerId);
  void adopt(Node& node, const VLWebDAVEntry& entry);
  VLErrorRef checkName(const std::string& parent, const std::string& name, const std::string& self);
  VLErrorRef moveOnServer(const std::string& from, const std::string& to, bool isCollection);
  VLErrorRef relocate(Node& node, const std::string& parent, const std::string& name, const std::string& trashedFrom);
  VLErrorRef setProperties(Node& node, const std::vector<std::pair<std::string, std::optional<std::string>>>& values);
  VLErrorRef fetch(Node& node);
  VLErrorRef fetchTree(const std::string& path, const std::filesystem::path& into);
  VLErrorRef upload(const std::filesystem::path& source, const std::string& path, bool isDirectory);
  VLErrorRef import(const std::filesystem::path& source, const std::string& parent, VLItemRef& made);
  VLErrorRef ensureTrash();
  static std::string parentOfTrashed(const std::string& id);  // the trash's collection for one item
  VLErrorRef unexpected(const VLWebDAVClient::Response& response, const std::string& what);

  // Runs `work` under the lock, then reports every item it touched as one change.
  void change(const std::function<void()>& work);
  VLErrorRef each(const Items& items, const Work& work);

  const Options options_;
  const VLWebDAVClient client_;
  const VLStoreTypes types_;
  std::shared_ptr<VLProviderChanges> changes_;
  bool deadProperties_ = false;  // set by connect() before any session
  std::recursive_mutex mutex_;
  std::map<std::string, Node> nodes_;  // guarded by mutex_, as is everything below
  std::vector<std::string> touched_;
  bool trashMade_ = false;
  uint64_t next_ = 1;
};
