// VLSimulatedQuirks: the deliberate faults (quirks) a simulated provider service can be told
// to have, and the questions its code asks about them.
//
// VL_SIMULATED_QUIRKS is the one list of quirks: each row gives the enumerator, the question
// the provider's code asks (`quirks.refusesRenames()`), the name settings use and a line
// saying what goes wrong. The enum, the name table and the questions are all made from it,
// so a new quirk is one row here, the code that misbehaves where its question is asked, and
// its row in the fault matrix (faults/Faults/VLFaultMatrixRows.cpp). Every quirk is off by
// default. A VLSimulatedQuirks value is immutable once the settings are parsed; safe to
// share between threads.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

// X(Enumerator, question, "name", "what goes wrong")
#define VL_SIMULATED_QUIRKS(X)                                                                                       \
  X(CaseSensitiveNames, namesAreCaseSensitive, "case-sensitive-names",                                               \
    "names that differ only in letter case do not collide")                                                          \
  X(NoCollisionCheck, skipsCollisionCheck, "no-collision-check",                                                     \
    "a clashing copy or folder silently gets another name (\"Name 2.ext\")")                                         \
  X(CollisionNamesOtherItem, collisionNamesOtherItem, "collision-names-other-item",                                  \
    "the collision error carries the containing folder instead of the existing item")                                \
  X(RenameChangesIdentifier, renameChangesIdentifier, "rename-changes-identifier",                                   \
    "a renamed item gets a new identifier")                                                                          \
  X(NoChildCount, hidesChildCount, "no-child-count", "folders report no child item count")                           \
  X(StaleChildCount, keepsChildCountStale, "stale-child-count",                                                      \
    "a folder's child count (and date) is not updated when children come or go")                                     \
  X(MoveOutAsUpdate, showsMoveOutAsUpdate, "move-out-as-update",                                                     \
    "an item moved out of a folder shows there as an update, not a deletion")                                        \
  X(UntrashElsewhere, untrashesElsewhere, "untrash-elsewhere",                                                       \
    "untrash without a restore directory puts items in \"Recovered Items\" in the root")                             \
  X(UntrashDetachesChildren, untrashDetachesChildren, "untrash-detaches-children",                                   \
    "untrashing a folder puts its children beside it instead of inside")                                             \
  X(TrashedChildrenStayInWorkingSet, keepsTrashedChildrenInWorkingSet, "trashed-children-stay-in-working-set",       \
    "the children of a trashed folder stay in the working set")                                                      \
  X(AllFilesPublicData, typesEverythingAsData, "all-files-public-data",                                              \
    "every file and package is typed \"public.data\"")                                                               \
  X(ThumbnailsUpsideDown, flipsThumbnails, "thumbnails-upside-down", "thumbnails are flipped vertically")            \
  X(NoThumbnails, withholdsThumbnails, "no-thumbnails", "thumbnail fetches return neither data nor error")           \
  X(EvictionKeepsContent, evictionKeepsContent, "eviction-keeps-content",                                            \
    "eviction reports \"not downloaded\" but leaves the bytes on disk")                                              \
  X(NeverUpload, neverUploads, "never-upload", "new files are never uploaded")                                       \
  X(NoValidationService, hidesValidationService, "no-validation-service",                                            \
    "the validation service is not listed (same as validation-service=absent)")                                      \
  X(ValidationRefused, refusesValidation, "validation-refused",                                                      \
    "the validation service refuses validation (same as validation-service=refuse)")                                 \
  X(DeleteLeavesChildrenFetchable, deleteLeavesChildrenFetchable, "delete-leaves-children-fetchable",                \
    "after a folder is deleted its children still resolve by URL")                                                   \
  X(LookupReturnsOtherIdentifier, lookupAnswersAlias, "lookup-returns-other-identifier",                             \
    "item look-ups answer with an alias identifier (\"alias:ID\")")                                                  \
  X(EnumerationWrongParent, enumerationNamesWrongParent, "enumeration-wrong-parent",                                 \
    "full enumerations (reloads) name a wrong parent for every item")                                                \
  X(TagsDropped, dropsTags, "tags-dropped", "setting tags succeeds but stores nothing")                              \
  X(LastUsedDateOffset, shiftsLastUsedDates, "last-used-date-offset", "last-used dates are stored two seconds late") \
  X(CorruptContent, corruptsImports, "corrupt-content", "imported files are stored with their first byte damaged")   \
  X(NoSubitemCapability, deniesAddingSubitems, "no-subitem-capability",                                              \
    "containers lack the \"allows adding sub-items\" capability")                                                    \
  X(RenameMarksNotDownloaded, renameMarksNotDownloaded, "rename-marks-not-downloaded",                               \
    "a renamed file reports its content as not downloaded")                                                          \
  X(CollisionWrongError, collisionGivesPlainError, "collision-wrong-error",                                          \
    "a name clash is refused with a file-system error (\"File exists\") instead of a filename collision")            \
  X(ChildCountIncludesHidden, countsHiddenChild, "child-count-includes-hidden",                                      \
    "folders count one hidden child more than they show (a new folder reports 1)")                                   \
  X(ImportReportsNoItem, importReportsNoItem, "import-reports-no-item",                                              \
    "an import succeeds but its results name no created item")                                                       \
  X(DeleteRefusesNonemptyFolders, refusesDeletingNonemptyFolders, "delete-refuses-nonempty-folders",                 \
    "deleting a folder that has children fails (\"Directory not empty\")")                                           \
  X(RootHasParent, rootHasParent, "root-has-parent", "the root container reports a parent")                          \
  X(FolderEnumerationHangs, folderEnumerationHangs, "folder-enumeration-hangs",                                      \
    "collections of folders other than the root never deliver their first enumeration")                              \
  X(PackagesTypedFlat, typesPackagesFlat, "packages-typed-flat",                                                     \
    "a package gets the flat type of its extension (the type constrained to \"public.data\")")                       \
  X(ThumbnailsFail, failsThumbnails, "thumbnails-fail", "thumbnail fetches fail with an error")                      \
  X(ThumbnailsOtherSize, enlargesThumbnails, "thumbnails-other-size", "thumbnails come at twice the requested size") \
  X(ThumbnailsCachedIconBitmap, sendsCachedIconBitmaps, "thumbnails-cached-icon-bitmap",                             \
    "thumbnails come in the cached-icon-bitmap format instead of as undecorated PNG")                                \
  X(EvictionStaysDownloaded, evictionChangesNothing, "eviction-stays-downloaded",                                    \
    "eviction through the validation service succeeds but changes nothing: the file stays, reported downloaded")     \
  X(NoPlaceholders, refusesPlaceholders, "no-placeholders",                                                          \
    "asking for an evicted file's URL with a placeholder fails (\"No such file or directory\")")                     \
  X(MoveReportsOldParent, moveReportsOldParent, "move-reports-old-parent",                                           \
    "a move succeeds, but its results name each item's former parent")                                               \
  X(DownloadReportsDownloading, downloadReportsDownloading, "download-reports-downloading",                          \
    "a download completes while the items it hands back still report downloading")                                   \
  X(RenameRefused, refusesRenames, "rename-refused", "renames fail with a \"not supported\" error")                  \
  X(EvictionRefused, refusesEvictions, "eviction-refused",                                                           \
    "evictions (also through the validation service) fail with a \"not supported\" error")                           \
  X(ThumbnailsUndecodable, sendsUndecodableThumbnails, "thumbnails-undecodable",                                     \
    "thumbnails are 64 bytes that are no image (under the format the other thumbnail quirks choose)")                \
  X(ThumbnailsCachedIconPNG, sendsPNGAsCachedIcon, "thumbnails-cached-icon-png",                                     \
    "thumbnails come as PNG bytes under the cached-icon-bitmap format, as other providers send that format")

// A deliberate fault that the service can be told to have.
enum class VLSimulatedQuirk {
#define VL_SIMULATED_QUIRK_ENUMERATOR(enumerator, question, name, help) enumerator,
  VL_SIMULATED_QUIRKS(VL_SIMULATED_QUIRK_ENUMERATOR)
#undef VL_SIMULATED_QUIRK_ENUMERATOR
};

// One row of the quirk list as data.
struct VLSimulatedQuirkInfo {
  VLSimulatedQuirk quirk;
  const char* name;  // as settings spell it: "rename-refused"
  const char* help;  // one line saying what goes wrong
};

class VLSimulatedQuirks {
 public:
  // Returns every quirk's row, in list order.
  static const std::vector<VLSimulatedQuirkInfo>& all();
  // Returns the quirk that settings call `name`, or none.
  static std::optional<VLSimulatedQuirk> named(const std::string& name);
  // Returns the name of `quirk`.
  static std::string nameOf(VLSimulatedQuirk quirk);

  // Turns `quirk` on.
  void insert(VLSimulatedQuirk quirk) { on_.insert(quirk); }
  // Returns whether `quirk` is on.
  bool has(VLSimulatedQuirk quirk) const { return on_.count(quirk) != 0; }
  // Returns how many quirks are on.
  size_t size() const { return on_.size(); }
  bool empty() const { return on_.empty(); }

  // The questions the provider's code asks: one per quirk, true when that quirk is on.
  // Asking here rather than testing enumerators marks each place where misbehaviour enters.
#define VL_SIMULATED_QUIRK_QUESTION(enumerator, question, name, help) \
  bool question() const { return has(VLSimulatedQuirk::enumerator); }
  VL_SIMULATED_QUIRKS(VL_SIMULATED_QUIRK_QUESTION)
#undef VL_SIMULATED_QUIRK_QUESTION

 private:
  std::set<VLSimulatedQuirk> on_;
};
