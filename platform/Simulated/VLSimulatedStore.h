// VLSimulatedStore: the simulated provider's item tree and the files that back it.
//
// Its sources are split by concept: VLSimulatedStore.cpp (look-up, naming, paths, changes),
// VLSimulatedStoreSnapshots.cpp (the items it reports), VLSimulatedStorePublishing.cpp
// (what collections see) and VLSimulatedStoreSeeding.cpp (what a fresh store holds).
//
// Items live in memory as VLSimulatedNodes; their bytes live under the service's storage
// directory (inside the process's temporary directory): the tree as real directories and
// files under "Root", trashed items under ".Trash/<identifier>", uploaded copies under
// ".Server/<identifier>", and placeholders as hidden ".<name>.placeholder" files beside
// where the file would be. The store also knows the observing collections and hands each
// its new item list after every change.
//
// Thread-safety: one mutex guards everything. Functions whose names end in "Locked" need
// the caller to hold it (through lock()); the others take it themselves. The store never
// calls out to user code while holding it; it only posts work to collections.
// Lifetime: shared by the service, its item manager, collections and pending tasks; the
// storage directory is removed when the last owner lets go.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Simulated/VLSimulatedNode.h"
#include "Simulated/VLSimulatedSettings.h"
#include "Vaultline/VLItemID.h"
#include "Vaultline/VLProvider.h"
#include "Vaultline/VLTypeDatabase.h"

class VLSimulatedCollection;
class VLSimulatedCollectionOrder;

// The container identifier under which trashed items are kept.
extern const std::string& VLSimulatedTrashContainerIdentifier;

class VLSimulatedStore {
 public:
  // One item of a collection: its snapshot and the revision it was made from.
  struct Entry {
    VLItemRef item;
    uint64_t revision = 0;
  };

  // Makes the store with its root (and alternate root) in a fresh directory below `parent`.
  static std::shared_ptr<VLSimulatedStore> make(const VLSimulatedSettings& settings,
                                                std::shared_ptr<VLProvider> provider,
                                                std::shared_ptr<const VLTypeDatabase> types,
                                                const std::filesystem::path& parent);
  ~VLSimulatedStore();

  const VLSimulatedSettings& settings() const { return settings_; }
  // The faults this provider has: every misbehaviour starts with a question asked here.
  const VLSimulatedQuirks& quirks() const { return settings_.quirks; }
  const std::shared_ptr<VLProvider>& provider() const { return provider_; }
  const VLTypeDatabase& types() const { return *types_; }
  const std::filesystem::path& storageDirectory() const { return storage_; }
  // The alternate root folder's identifier, when the settings ask for one.
  const std::optional<std::string>& alternateRootIdentifier() const { return alternateRoot_; }

  std::unique_lock<std::mutex> lock() { return std::unique_lock<std::mutex>(mutex_); }

  // --- Look-up (caller holds the lock) -------------------------------------------------
  // Returns the node for `identifier` (an alias identifier resolves too), or nullptr.
  VLSimulatedNode* nodeLocked(const std::string& identifier);
  // Returns the node an item ID names, or nullptr when the provider or item is unknown.
  VLSimulatedNode* nodeForItemIDLocked(const VLItemID& itemID);
  // Returns the identifiers of the children of `identifier`.
  std::vector<std::string> childrenLocked(const std::string& identifier) const;
  // Returns `identifier` and the identifiers of all its descendants, every parent before its
  // children.
  std::vector<std::string> subtreeLocked(const std::string& identifier) const;
  // Returns whether `node` or one of its ancestors is trashed.
  bool isInTrashLocked(const VLSimulatedNode& node);
  // Returns whether `ancestor` is `node` or one of its ancestors.
  bool isAncestorLocked(const std::string& ancestor, const VLSimulatedNode& node);
  // Returns the child of `parent` whose name clashes with `name` (by the provider's naming
  // rule), other than `except`, or nullptr.
  VLSimulatedNode* clashingChildLocked(const std::string& parent, const std::string& name,
                                       const std::string& except = "");
  // Returns the node an item names, or sets `error`.
  VLSimulatedNode* nodeForItemLocked(const VLItemRef& item, VLErrorRef* error);
  // Returns the folder an item names, or sets `error`.
  VLSimulatedNode* containerForItemLocked(const VLItemRef& item, VLErrorRef* error);
  // Returns the filename-collision error for `name` in `parent` (other than `except`), or
  // none: the naming rule and the collision quirks in one place.
  VLErrorRef collisionErrorLocked(const std::string& parent, const std::string& name, const std::string& except = "");
  // Returns the type a file named `name` gets.
  std::string fileTypeLocked(const std::string& name) const;
  // Returns the extension of a name without its dot ("" for "README" and ".profile").
  static std::string extensionOf(const std::string& name);
  // Returns whether `name` can name an item: 1 to 255 bytes, no "/" or NUL, not "." or "..".
  static bool isValidName(const std::string& name);
  // Returns `name`, or "name 2.ext", "name 3.ext", … whichever clashes with no child of `parent`.
  std::string uniqueNameLocked(const std::string& parent, const std::string& name);

  // --- Paths (caller holds the lock) ---------------------------------------------------
  std::filesystem::path pathLocked(const VLSimulatedNode& node);
  // Returns where item `identifier` would be on disk as `name` under `parent` (the trash
  // container included).
  std::filesystem::path childPathLocked(const std::string& parent, const std::string& identifier,
                                        const std::string& name);
  static std::filesystem::path placeholderPath(const std::filesystem::path& path);
  std::filesystem::path serverCopyPath(const std::string& identifier) const {
    return storage_ / ".Server" / identifier;
  }
  // Returns the node whose file, placeholder or directory is at `path`, or nullptr.
  VLSimulatedNode* nodeForPathLocked(const std::filesystem::path& path);
  // Returns the last snapshot of a deleted item that is still reachable at `path` (quirk).
  VLItemRef ghostForPathLocked(const std::filesystem::path& path) const;
  void addGhostLocked(const std::filesystem::path& path, VLItemRef item) { ghosts_[path.string()] = std::move(item); }

  // --- Changes (caller holds the lock) -------------------------------------------------
  // Adds a node (with a fresh identifier when its identifier is empty) and returns it.
  VLSimulatedNode& addNodeLocked(VLSimulatedNode node);
  void removeNodeLocked(const std::string& identifier);
  // Gives a node a new identifier (rename quirk); returns the node.
  VLSimulatedNode& reidentifyLocked(const std::string& identifier);
  // Moves `node` under `parent`; it is trashed exactly when `parent` is the trash container.
  void setParentLocked(VLSimulatedNode& node, const std::string& parent);
  // Marks the node changed: a new revision and a new snapshot. Every change to what a node
  // reports goes through here, so the next publishLocked() can look at the changed nodes alone.
  void touchLocked(VLSimulatedNode& node);
  // Brings a container's reported child count (and its modification date) up to date.
  void refreshChildCountLocked(const std::string& identifier);
  // Returns the node's item as the provider reports it.
  VLItemRef snapshotLocked(VLSimulatedNode& node);
  // Returns the snapshot that item look-ups hand out (with an alias identifier under the quirk).
  VLItemRef lookupSnapshotLocked(VLSimulatedNode& node);
  // Hands every observing collection its current items.
  void publishLocked();
  // Returns the remembered orderings of big listings, which collections sort through.
  VLSimulatedCollectionOrder& orderLocked() { return *order_; }

  // --- Collections ---------------------------------------------------------------------
  // Registers an observing collection and posts its first reload. Takes the lock.
  void startPublishing(const std::shared_ptr<VLSimulatedCollection>& collection);
  // Posts a reload of `collection` (after its ordering changed). Takes the lock.
  void republish(const std::shared_ptr<VLSimulatedCollection>& collection);

  VLSimulatedStore(const VLSimulatedStore&) = delete;
  VLSimulatedStore& operator=(const VLSimulatedStore&) = delete;

 private:
  VLSimulatedStore(const VLSimulatedSettings& settings, std::shared_ptr<VLProvider> provider,
                   std::shared_ptr<const VLTypeDatabase> types, std::filesystem::path storage);
  // Fills a fresh store: the root, the alternate root the settings ask for, the sample tree
  // and the seeded items (VLSimulatedStoreSeeding.cpp).
  void seedLocked();
  // Fills the root with a few folders, documents, a package and a picture, uploaded, as a
  // provider in use would hold them.
  void seedSampleTreeLocked();
  // Adds one uploaded sample item under `parent` with its bytes on disk and on the server.
  std::string addSampleLocked(const std::string& parent, const std::string& name, VLSimulatedNode::Kind kind,
                              const std::string& contents = "");
  // The prefix of the alias identifiers that look-ups answer with under the quirk;
  // nodeLocked() resolves them.
  static const std::string& aliasPrefix();
  // Returns the items a collection shows, or none when its scope does not exist.
  std::optional<std::vector<Entry>> entriesLocked(const VLSimulatedCollection& collection);
  std::optional<Entry> observedEntryLocked(const VLSimulatedCollection& collection);
  bool inWorkingSetLocked(VLSimulatedNode& node);
  // Whether `node` belongs to a scope that spans the whole provider (the working set, or
  // every item), which are the scopes kept up to date from the changed nodes alone.
  bool inWideScopeLocked(const VLSimulatedCollection& collection, VLSimulatedNode& node);
  void postLocked(VLSimulatedCollection& collection, bool reload);
  // Posts to a wide-scope collection what the nodes changed since the last publish mean for it.
  void postChangesLocked(VLSimulatedCollection& collection);

  const VLSimulatedSettings settings_;
  const std::shared_ptr<VLProvider> provider_;
  const std::shared_ptr<const VLTypeDatabase> types_;
  const std::filesystem::path storage_;
  std::optional<std::string> alternateRoot_;  // set once while making the store

  std::mutex mutex_;
  std::map<std::string, std::unique_ptr<VLSimulatedNode>> nodes_;  // guarded by mutex_
  std::map<std::string, std::set<std::string>> children_;          // guarded by mutex_: parent → children
  std::map<std::string, VLItemRef> ghosts_;                        // guarded by mutex_: path → deleted item
  std::vector<std::weak_ptr<VLSimulatedCollection>> collections_;  // guarded by mutex_
  std::set<std::string> changed_;  // guarded by mutex_: nodes touched, added or removed since the last publish
  uint64_t nextIdentifier_ = 1;                                    // guarded by mutex_
  const std::set<std::string>* const trashChildren_;               // guarded by mutex_: children_'s trash entry
  const std::unique_ptr<VLSimulatedCollectionOrder> order_;        // guarded by mutex_
};
