// VLProviderStore: the one interface a storage author implements to serve the provider
// protocol with the provider kit (VLProviderKit). The kit does the framing, the handshake,
// dispatch, JSON-RPC errors, encoding, paging and subscriptions; the store only answers for
// its items, synchronously, in the project's own value types (VLItem, VLError, VLTag, …).
//
// Threads: the kit calls a store from many threads at once (one per request in flight), so
// every method must be safe to call concurrently. A method may block for as long as its work
// takes; the host's time-out for one request is 30 seconds.
//
// Outcomes: a failure the user would see (no such item, a name collision, not supported) is
// an error value in the result (VLErrorRef), never an exception. A VLProviderStoreBadRequest
// thrown from a method becomes the JSON-RPC "invalid params" error; any other VLException
// becomes "internal error" naming it.
//
// Changes: the store tells the kit which items changed through the VLProviderChanges it is
// given by attach(); the kit works out what each open subscription gains, loses and sees
// change. A store without notifications returns a poll interval from pollInterval() and the
// kit re-enumerates every open subscription that often.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Core/VLData.h"
#include "Core/VLDate.h"
#include "Core/VLError.h"
#include "Core/VLException.h"
#include "Core/VLValue.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLTag.h"

class VLProviderChanges;
class VLProviderScopeFeed;
class VLProviderScopeSink;

// Thrown by a store method for an argument it cannot work with at all (an unknown service
// token, say): the host gets the JSON-RPC error "invalid params" with this message.
class VLProviderStoreBadRequest : public VLException {
 public:
  using VLException::VLException;
};

// What the handshake tells the host about the provider.
struct VLProviderIdentity {
  std::string identifier;          // e.g. "org.example.drive" or "org.example.drive/domain"
  std::string providerIdentifier;  // reverse-DNS style
  std::string providerID;          // empty: the same as providerIdentifier
  struct Domain {
    std::optional<std::string> identifier;
    std::string displayName;
  };
  std::optional<Domain> domain;                  // none: the default domain
  bool olderPlatformRevision = false;            // "older" instead of "current"; for testing the library only
  std::map<std::string, bool> deviceProperties;  // e.g. {"InternalBuild", false}
};

// What a collection subscription watches.
struct VLProviderScope {
  enum class Kind { Container, WorkingSet, Provider };
  Kind kind = Kind::Container;
  std::string container;  // Container only: the container's identifier
};

// An item, or why there is none.
struct VLStoreItemResult {
  VLItemRef item;
  VLErrorRef error;
};

// A scope's members, or why they cannot be enumerated.
struct VLStoreItemsResult {
  std::vector<VLItemRef> items;
  VLErrorRef error;
};

// The outcome of an import: the item made for each source path, the error of each source
// that failed, and the overall error (the first failure, or none).
struct VLStoreCopyResult {
  std::vector<std::pair<std::string, VLItemRef>> created;
  std::vector<std::pair<std::string, VLErrorRef>> failed;
  VLErrorRef error;
};

// The outcome of a move: each moved item's identifier (as given) with the item after the move.
struct VLStoreMoveResult {
  std::vector<std::pair<std::string, VLItemRef>> moved;
  VLErrorRef error;
};

// One import source: a file, a folder tree or a package on the shared file system.
struct VLStoreSource {
  std::string path;
  bool isDirectory = false;
};

// Where an item's local copy is (or would be).
struct VLStoreLocation {
  std::optional<std::string> path;  // none with an error
  bool isDirectory = false;         // folders, the root and packages
  VLErrorRef error;
};

// A thumbnail: image bytes and their format, an error, or neither (no thumbnail, no reason).
struct VLStoreThumbnail {
  std::optional<VLData> data;
  std::string format = "com.kestrel.thumbnail.undecorated";
  VLErrorRef error;
};

enum class VLStoreFileState { Materialized, Placeholder, Absent };

// A service offered for the item at a path: its name and the token later calls name.
struct VLStoreService {
  std::string name;   // "com.kestrel.Vaultline.ValidationV1" for the validation service
  std::string token;  // the item's identifier is a good token
};

struct VLStoreServicesResult {
  std::vector<VLStoreService> services;
  VLErrorRef error;
};

// The validation service's answer: whether validation is allowed and its options
// ("AlternateRootContainer", "IsSyncingProvider", "HasNoWorkingSet").
struct VLStoreValidationAnswer {
  bool allowed = true;
  VLValue::Dictionary options;
  VLErrorRef error;  // the service could not be reached: answered instead of the rest
};

class VLProviderStore {
 public:
  using TagList = std::vector<std::shared_ptr<const VLTag>>;
  using Items = std::vector<VLItemRef>;

  virtual ~VLProviderStore() = default;

  // Called once before the first session: keep `changes` and report through it every change
  // to your items, whoever made it (an action, a sync, another program). The default keeps
  // nothing (a store that relies on pollInterval()).
  virtual void attach(std::shared_ptr<VLProviderChanges> changes) { (void)changes; }
  // How often the kit should re-enumerate each open subscription and report the differences;
  // none (the default) for a store that reports its changes through attach()'s object.
  virtual std::optional<std::chrono::milliseconds> pollInterval() const { return std::nullopt; }

  // The handshake's provider record.
  virtual VLProviderIdentity identity() const = 0;

  // ── Look-ups ──
  // The root container (identifier KsVaultlineRootContainerItemIdentifier, its own parent).
  // The default is lookup() of that identifier.
  virtual VLStoreItemResult rootItem();
  // The item with this identifier, or "no such item" (KsVaultlineErrorDomain -1005).
  virtual VLStoreItemResult lookup(const std::string& identifier) = 0;
  // The action form of lookup(); the default is lookup().
  virtual VLStoreItemResult fetchItem(const std::string& identifier) { return lookup(identifier); }
  // The item whose local copy, placeholder or folder is at `path`, or "no such item".
  virtual VLStoreItemResult itemAtPath(const std::string& path) = 0;
  // The path of the item's local copy. `creatingPlaceholder`: none, the path whether or not
  // anything is there; false, only if content or a placeholder is there (else ENOENT); true,
  // after making a placeholder when neither is there.
  virtual VLStoreLocation location(const VLItemRef& item, std::optional<bool> creatingPlaceholder) = 0;

  // ── Collections ──
  // Every current member of `scope`, in any order, or why it cannot be enumerated (a container
  // that does not exist or is no container: "no such item"; no working set: not supported).
  virtual VLStoreItemsResult enumerate(const VLProviderScope& scope) = 0;
  // Whether `item` (as it is now) belongs to `scope`. The default: a container's members are
  // its children; the working set holds items with tags, a favourite rank or a last-used date;
  // the provider scope holds every item but the root; the last two leave out the contents of
  // trashed folders (found by looking up the item's ancestors). Override for speed.
  virtual bool contains(const VLProviderScope& scope, const VLItem& item);
  // For a store that keeps each scope's list itself: start reporting `scope` to `sink` and
  // return a handle whose stop() ends the reports. The default returns
  // nullptr, and the kit works the scope out from enumerate(), contains() and the changes.
  virtual std::shared_ptr<VLProviderScopeFeed> openScope(const VLProviderScope& scope,
                                                         std::shared_ptr<VLProviderScopeSink> sink) {
    (void)scope;
    (void)sink;
    return nullptr;
  }

  // ── Actions ── (each attempts every item; the overall error is the first failure)
  virtual VLStoreCopyResult importItems(const std::vector<VLStoreSource>& sources, const VLItemRef& destination) = 0;
  virtual VLStoreItemResult createFolder(const VLItemRef& parent, const std::string& name) = 0;
  virtual VLErrorRef rename(const VLItemRef& item, const std::string& newName) = 0;
  virtual VLStoreMoveResult move(const Items& items, const VLItemRef& destination) = 0;
  virtual VLErrorRef trash(const Items& items) = 0;
  // `restoreDirectory` null: back to where each item was.
  virtual VLErrorRef untrash(const Items& items, const VLItemRef& restoreDirectory) = 0;
  virtual VLErrorRef remove(const Items& items) = 0;
  // The kit has checked that the lists are as long as `items`.
  virtual VLErrorRef setTags(const Items& items, const std::vector<TagList>& tagLists) = 0;
  virtual VLErrorRef setFavoriteRanks(const Items& items, const std::vector<int64_t>& ranks) = 0;
  virtual VLErrorRef setLastUsedDate(const Items& items, VLDate date) = 0;
  // Makes the items' content local; answers every item asked for, as it is now.
  virtual VLStoreItemsResult download(const Items& items) = 0;
  virtual VLErrorRef evict(const Items& items) = 0;

  // ── Thumbnails and local files ──
  // The default answers the bytes of a PNG or JPEG file at the item's location(), else no
  // thumbnail (and no reason).
  virtual VLStoreThumbnail thumbnail(const VLItemRef& item, double width, double height, double scale);
  // The default: materialized when something is at `path`, a placeholder when the kit's
  // placeholder is beside it (VLStorePlaceholders), else absent.
  virtual VLStoreFileState fileState(const std::string& path);
  // Makes the content be at `path` (a path that is not yours, or already local, needs nothing).
  // The default does nothing: every file is local.
  virtual VLErrorRef materialize(const std::string& path);

  // ── The validation service ──
  // The default lists the validation service for the item at `path` (itemAtPath()), with
  // the item's identifier as the token.
  virtual VLStoreServicesResult services(const std::string& path);
  // Throw VLProviderStoreBadRequest for a token services() never gave. The default allows
  // validation of a provider with a working set that does not sync (IsSyncingProvider false).
  virtual VLStoreValidationAnswer allowValidation(const std::string& token);
  // The defaults take the token for an item identifier: evict() of that item, and "not
  // supported" for sharing.
  virtual VLErrorRef evictDocument(const std::string& token);
  virtual VLErrorRef shareDocument(const std::string& token);
};

// The kit's side of a store-kept scope (see VLProviderStore::openScope): where the store
// reports one subscription's members and changes. Thread-safe; calls after the feed ends are
// ignored.
class VLProviderScopeSink {
 public:
  virtual ~VLProviderScopeSink() = default;
  // The first enumeration: every member. Call exactly once, before any other report.
  virtual void answer(const std::vector<VLItemRef>& members) = 0;
  // The scope cannot be enumerated: instead of answer(), or later to end the subscription.
  virtual void fail(const VLErrorRef& error) = 0;
  // One batch: members that joined or changed, identifiers that left, and (container scopes)
  // the container itself when it changed. Empty batches are dropped.
  virtual void changed(const std::vector<VLItemRef>& updated, const std::vector<std::string>& deleted,
                       const VLItemRef& observedItem) = 0;
};

// A store-kept scope's handle: stop() ends its reports; no sink call starts after it returns.
// The kit calls it from its own queue, never from a sink call.
class VLProviderScopeFeed {
 public:
  virtual ~VLProviderScopeFeed() = default;
  virtual void stop() = 0;
};
