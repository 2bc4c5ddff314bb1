// VLSimulatedSettings: how one simulated provider service behaves: who it claims to be,
// which platform revision it plays, how slow it is, and which faults (quirks) it has.
//
// Parsed once from a comma-separated list of quirk names and name=value settings, e.g.
// "case-sensitive-names,upload-latency=200ms". Immutable after parsing; safe to share
// between threads.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

// A deliberate fault that the service can be told to have. Each is off by default.
enum class VLSimulatedQuirk {
  CaseSensitiveNames,       // names differing only in case do not collide
  NoCollisionCheck,         // a clashing copy silently gets another name
  CollisionNamesOtherItem,  // the collision error carries another item than the existing one
  RenameChangesIdentifier,  // a renamed item gets a new identifier
  NoChildCount,             // folders report no child item count
  StaleChildCount,          // a folder's child count is not updated when children come or go
  MoveOutAsUpdate,          // a move out of a folder shows there as an update, not a deletion
  UntrashElsewhere,         // untrash restores into another folder than the original one
  UntrashDetachesChildren,  // untrash puts a folder's children beside it instead of inside
  TrashedChildrenStayInWorkingSet,
  AllFilesPublicData,  // every file is typed "public.data"
  ThumbnailsUpsideDown,
  NoThumbnails,
  EvictionKeepsContent,  // eviction reports "not downloaded" but leaves the bytes on disk
  NeverUpload,
  NoValidationService,
  ValidationRefused,
  DeleteLeavesChildrenFetchable,  // a deleted folder's children still resolve by URL
  LookupReturnsOtherIdentifier,   // item look-ups answer with an alias identifier
  EnumerationWrongParent,         // full enumerations name a wrong parent for every item
  TagsDropped,
  LastUsedDateOffset,            // last-used dates are stored two seconds late
  CorruptContent,                // imported bytes are stored damaged
  NoSubitemCapability,           // containers lack the "allows adding sub-items" capability
  RenameMarksNotDownloaded,      // a renamed file reports its content as not downloaded
  CollisionWrongError,           // a clash is refused with a file-system error, not a filename collision
  ChildCountIncludesHidden,      // folders count one hidden child more than they show
  ImportReportsNoItem,           // an import succeeds but names no created item
  DeleteRefusesNonemptyFolders,  // deleting a folder that has children fails
  RootHasParent,                 // the root container reports a parent
  FolderEnumerationHangs,        // collections of folders (not the root) never deliver
  PackagesTypedFlat,             // a package gets the flat (data) type of its extension
  ThumbnailsFail,                // every thumbnail fetch fails with an error
  ThumbnailsOtherSize,           // thumbnails come at twice the requested size
  ThumbnailsCachedIconBitmap,    // thumbnails come in the cached-icon-bitmap format
  EvictionStaysDownloaded,       // eviction succeeds but the file stays, reported downloaded
  NoPlaceholders,                // the URL of an evicted file cannot be had with a placeholder
  MoveReportsOldParent,          // a move's results name each item's former parent
  DownloadReportsDownloading,    // a download completes while the items it hands back are still downloading
  RenameRefused,                 // renames fail with a "not supported" error
  EvictionRefused,               // evictions fail with a "not supported" error, leaving the content local
  ThumbnailsUndecodable,         // thumbnails are 64 bytes that are no image
  ThumbnailsCachedIconPNG,       // thumbnails come as PNG bytes under the cached-icon-bitmap format
};

// Which revision of the platform interface the service plays.
enum class VLSimulatedRevision {
  Current,  // newest initialisers, VLFetchItemOperation, newCollectionWithItemID
  Older,    // older item-ID and copy initialisers only
};

struct VLSimulatedSettings {
  using Duration = std::chrono::microseconds;

  std::string providerIdentifier = "net.vaultline.simulated";
  std::optional<std::string> domainIdentifier;
  bool syncing = true;
  bool workingSet = true;
  std::optional<std::string> alternateRootName;  // a folder in the root reported as the validation root
  bool validationServicePresent = true;
  bool validationAllowed = true;
  bool internalBuild = false;
  VLSimulatedRevision revision = VLSimulatedRevision::Current;
  Duration actionLatency{0};
  Duration collectionLatency{0};
  Duration uploadLatency{0};
  bool sampleTree = true;  // a fresh provider holds a small sample tree in its root
  uint64_t seedItems = 0;  // further files, in folders under "Bulk", all in the working set
  std::set<VLSimulatedQuirk> quirks;

  // Parses `text`. Throws VLException naming the unknown name or bad value and listing the
  // valid names.
  static VLSimulatedSettings parse(const std::string& text);

  bool has(VLSimulatedQuirk quirk) const { return quirks.count(quirk) != 0; }

  // Returns every quirk name, in declaration order.
  static std::vector<std::string> quirkNames();
  // Returns every name=value setting name.
  static std::vector<std::string> settingNames();
  // Returns the name of `quirk`.
  static std::string nameOf(VLSimulatedQuirk quirk);
};
