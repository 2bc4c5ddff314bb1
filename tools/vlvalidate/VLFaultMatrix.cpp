#include "vlvalidate/VLFaultMatrix.h"

#include <algorithm>

#include "Core/VLFormat.h"
#include "Validations/VLValidationErrors.h"
#include "vlvalidate/VLCaseFilter.h"

namespace {

constexpr VLValidationResult kFailed = VLValidationResultFailed;
constexpr VLValidationResult kInconclusive = VLValidationResultInconclusive;
constexpr VLValidationResult kPassed = VLValidationResultPassed;

// The rows, suite by suite. Words are the validations' own, with "%@" for the parts that
// name items, so that a reworded message is caught as surely as a missed fault.
const std::vector<VLFaultMatrixRow> kRows = {
    // ---- VLContainerValidation -----------------------------------------------------------
    {"case-sensitive-names",
     false,
     "VLContainerValidation.SecondItemIsBouncedWithCaseMismatch/*",
     {kFailed},
     {"subsequent copy of %@ to %@ should fail with filename collision error", "Operation was expected to fail"},
     "names that differ only in letter case do not collide"},
    {"no-collision-check",
     false,
     "VLContainerValidation.SecondItemIsBounced*",
     {kFailed},
     {"subsequent copy of %@ to %@ should fail with filename collision error", "Operation was expected to fail"},
     "a second item under a taken name is accepted under another name"},
    {"collision-names-other-item",
     false,
     "VLContainerValidation.SecondItemIsBounced*",
     {kFailed},
     {"subsequent copy of %@ to %@ should fail with filename collision error", "already exists"},
     "the collision error names another item than the one in the way"},
    {"collision-wrong-error",
     false,
     "VLContainerValidation.SecondItemIsBounced*",
     {kFailed},
     {"subsequent copy of %@ to %@ should fail with filename collision error", "File exists"},
     "a clash is refused with a plain file-system error, not a filename collision"},
    {"rename-changes-identifier",
     false,
     "VLContainerValidation.RenamingPreservesItemIdentifier/*",
     {kFailed},
     {"Expecting signal (any), properties filename: %@-Renamed, itemIdentifier: %@", "Timed out ("},
     "a renamed item comes back under a new identifier"},
    {"no-child-count",
     false,
     "VLContainerValidation.ItemCount/*",
     {kInconclusive},
     {"Folder creation returned item %@ without childItemCount"},
     "folders report no child count"},
    {"child-count-includes-hidden",
     false,
     "VLContainerValidation.ItemCount/*",
     {kFailed},
     {"Expecting child item count of %@ to be 0", "Child item count is 1"},
     "a new folder counts a hidden child"},
    {"stale-child-count",
     false,
     "VLContainerValidation.ItemCount/*",
     {kFailed},
     {"Never got an update for folder %@", "childItemCount: got 0, but expected 1"},
     "a folder's child count is not updated when a child is added"},
    {"corrupt-content",
     false,
     "VLContainerValidation.ImportAddsToContainer/*",
     {kFailed},
     {"Expected file %@ for item %@ to have contents %@, but contents were %@ instead"},
     "imported bytes are stored damaged"},
    {"import-reports-no-item",
     false,
     "VLContainerValidation.ImportAddsToContainer/*",
     {kFailed},
     {"Import returned no overall error but no item either"},
     "an import succeeds without naming the new item"},
    {"lookup-returns-other-identifier",
     false,
     "VLContainerValidation.LookupIdentity/*",
     {kFailed},
     {"Returned item identifier alias:%@ doesn't match expected identifier %@"},
     "looking an item up answers with another identifier"},
    {"delete-leaves-children-fetchable",
     false,
     "VLContainerValidation.SubitemsAreGoneAfterDeletingFolder/*",
     {kFailed},
     {"Looking up item %@ should fail"},
     "a deleted folder's child still resolves by its URL"},
    {"delete-refuses-nonempty-folders",
     false,
     "VLContainerValidation.SubitemsAreGoneAfterDeletingFolder/*",
     {kFailed},
     {"Deletion of item %@", "Directory not empty"},
     "a folder with children cannot be deleted"},
    {"no-subitem-capability",
     false,
     "VLContainerValidation.FolderCreation/*",
     {kFailed},
     {"Container %@ doesn't allow creating subitems"},
     "containers do not allow adding items"},
    {"enumeration-wrong-parent",
     false,
     "VLContainerValidation.Hierarchy",
     {kFailed},
     {"Item %@ enumerated for container %@ should have that container as parent", "Item's parent was %@"},
     "enumerations name a wrong parent for their items"},
    {"root-has-parent",
     false,
     "VLContainerValidation.Hierarchy",
     {kFailed},
     {"Root item shouldn't have a parent, or it should be root", "Parent was %@"},
     "the root container reports a parent"},
    {"folder-enumeration-hangs",
     false,
     "VLContainerValidation.Hierarchy",
     {kFailed},
     {"Expect items to be enumerated", "Timed out (20s)"},
     "enumerating a folder never finishes",
     true},
    // ---- VLFileTypeValidation -------------------------------------------------------------
    // The rows that must pass show differences a correct check has to see past.
    {"all-files-public-data",
     false,
     "VLFileTypeValidation.FileTypeIsReturnedCorrectly/*",
     {kFailed},
     {"Expect item with extension %@ to conform to type %@",
      "Item %@ has type public.data which doesn't conform to type %@"},
     "every file and package is typed \"public.data\", which is no extension's own type"},
    {"all-files-public-data",
     false,
     "VLFileTypeValidation.ThumbnailsRepresentItem",
     {kPassed},
     {},
     "a wrong type does not spoil the thumbnail of a picture"},
    {"packages-typed-flat",
     false,
     "VLFileTypeValidation.FileTypeIsReturnedCorrectly/BrindlePackage",
     {kFailed},
     {"Item %@ doesn't conform to type org.brindle.package, but does conform to type org.brindle.document for the "
      "same extension that doesn't conform to public.package."},
     "a package is typed as the flat document that its extension also names"},
    {"packages-typed-flat",
     false,
     "VLFileTypeValidation.FileTypeIsReturnedCorrectly/RichTextBundle",
     {kFailed},
     {"Item %@ has type %@ which doesn't conform to type public.rtfd"},
     "a package whose extension names no flat type is typed as plain data"},
    {"thumbnails-upside-down",
     false,
     "VLFileTypeValidation.ThumbnailsRepresentItem",
     {kFailed},
     {"expect a green pixel in the top half", "expect a red pixel in the bottom half"},
     "thumbnails show the picture upside down"},
    {"no-thumbnails",
     false,
     "VLFileTypeValidation.ThumbnailsRepresentItem",
     {kInconclusive},
     {"Thumbnail operation didn't return a thumbnail"},
     "thumbnail fetches return neither a picture nor an error"},
    {"thumbnails-fail",
     false,
     "VLFileTypeValidation.ThumbnailsRepresentItem",
     {kInconclusive},
     {"Thumbnail operation failed with error %@"},
     "thumbnail fetches fail"},
    {"thumbnails-other-size",
     false,
     "VLFileTypeValidation.ThumbnailsRepresentItem",
     {kPassed},
     {},
     "a thumbnail of another size than asked for is scaled before it is judged"},
    {"thumbnails-cached-icon-bitmap",
     false,
     "VLFileTypeValidation.ThumbnailsRepresentItem",
     {kPassed},
     {},
     "a thumbnail in the cached-icon-bitmap format is decoded and judged like any other"},
    {"thumbnails-cached-icon-bitmap,thumbnails-upside-down",
     false,
     "VLFileTypeValidation.ThumbnailsRepresentItem",
     {kFailed},
     {"expect a green pixel in the top half", "expect a red pixel in the bottom half"},
     "an upside-down thumbnail in the cached-icon-bitmap format"},
    // ---- VLPlaceholderValidation ----------------------------------------------------------
    // Outside strict mode a conformant provider stops after the eviction, inconclusive.
    {"",
     false,
     "VLPlaceholderValidation.PlaceholderIsWritten",
     {kInconclusive},
     {"Not checking for file eviction on %@ since we aren't running in strict mode"},
     "a conformant provider, outside strict mode"},
    {"syncing=no",
     false,
     "VLPlaceholderValidation.PlaceholderIsWritten",
     {kInconclusive},
     {"Not applicable to non-syncing providers"},
     "a provider that does not sync has no local copies to evict"},
    {"syncing=no",
     true,
     "VLPlaceholderValidation.PlaceholderIsWritten",
     {kInconclusive},
     {"Not applicable to non-syncing providers"},
     "a provider that does not sync has no local copies to evict"},
    {"no-validation-service",
     false,
     "VLPlaceholderValidation.PlaceholderIsWritten",
     {kFailed},
     {"eviction on item %@ should finish without error", "KsTarragonErrorDomain error 3328"},
     "the provider offers no validation service to evict through"},
    // Whether the "still appears present on disk" mark lands before the result is computed
    // decides between the two verdicts; either catches the fault.
    {"eviction-keeps-content",
     true,
     "VLPlaceholderValidation.PlaceholderIsWritten",
     {kFailed, kInconclusive},
     {"after item removal, we should be able to get a placeholder for item %@"},
     "eviction reports \"not downloaded\" but leaves the content on disk"},
    {"eviction-stays-downloaded",
     true,
     "VLPlaceholderValidation.PlaceholderIsWritten",
     {kInconclusive},
     {"Item %@ did not get evicted after call to validation_evictDocumentWith"},
     "eviction succeeds but the item never reports itself not downloaded"},
    {"no-placeholders",
     true,
     "VLPlaceholderValidation.PlaceholderIsWritten",
     {kFailed},
     {"after item removal, we should be able to get a placeholder for item %@", "No such file"},
     "an evicted file's URL cannot be had with a placeholder"},
    {"never-upload",
     false,
     "VLPlaceholderValidation.PlaceholderIsWritten",
     {kInconclusive},
     {"Item %@ did not get uploaded in time"},
     "new files are never uploaded",
     true},

    // ---- VLAttributeValidation -----------------------------------------------------------
    {"tags-dropped",
     false,
     "VLAttributeValidation.Tags/*",
     {kFailed},
     {"Expecting signal (any), properties filename: %@, parentItemIdentifier: %@, pending: 0, tags: ( Red#7 ) on "
      "events for %@",
      "tags: got %@, but expected ( Red#7 )",
      "Expecting signal (any), properties filename: %@, parentItemIdentifier: %@, pending: 0, tags: ( Red#7 ) on "
      "working set events"},
     "setting tags succeeds, but the tags never show"},
    {"last-used-date-offset",
     false,
     "VLAttributeValidation.LastUsedDate/*",
     {kFailed},
     {"Expecting signal (any), properties filename: %@, lastUsedDate: %@, parentItemIdentifier: %@, pending: 0 on "
      "working set events",
      "lastUsedDate: got %@, but expected %@"},
     "a last-used date is stored other than it was set"},
    {"move-out-as-update",
     false,
     "VLAttributeValidation.Reparent/*",
     {kFailed},
     {"Expecting signal (delete), properties itemIdentifier: %@, pending: 0 on events for %@", "Timed out (5s)"},
     "an item moved out of a folder shows there as an update, not a deletion"},
    {"move-reports-old-parent",
     false,
     "VLAttributeValidation.Reparent/*",
     {kFailed},
     {"item should be reparented out to %@", "item should be reparented in to %@"},
     "a move's results name the item's former parent"},
    {"rename-changes-identifier",
     false,
     "VLAttributeValidation.Rename/*",
     {kFailed},
     {"Expecting signal (any), properties downloading: 0, filename: %@_renamed, itemIdentifier: %@", "Timed out (5s)"},
     "a renamed item comes back under a new identifier"},
    {"rename-marks-not-downloaded",
     true,
     "VLAttributeValidation.Rename/*",
     {kFailed},
     {"Expecting signal (any), properties downloaded: 1, downloading: 0, filename: %@_renamed",
      "downloaded: got 0, but expected 1"},
     "a renamed file no longer counts as downloaded (only strict mode asks)"},
    {"rename-marks-not-downloaded",
     false,
     "VLAttributeValidation.Rename/*",
     {kPassed},
     {},
     "outside strict mode a renamed file's download state is not looked at"},
    {"rename-refused",
     false,
     "VLAttributeValidation.Rename/*",
     {kFailed},
     {"%@ should be renamed to %@_renamed", "cannot be renamed"},
     "renaming fails"},
    {"never-upload",
     false,
     "VLAttributeValidation.DownloadEvict",
     {kFailed},
     {"Expecting signal (any), properties downloaded: 1, downloading: 0, itemIdentifier: %@, parentItemIdentifier: "
      "%@, pending: 0, uploaded: 1 on events for %@",
      "uploaded: got 0, but expected 1"},
     "a new file is never uploaded"},
    {"download-reports-downloading",
     false,
     "VLAttributeValidation.DownloadEvict",
     {kFailed},
     {"item should be downloaded"},
     "a download completes while the item is still downloading"},
    {"eviction-refused",
     true,
     "VLAttributeValidation.DownloadEvict",
     {kFailed},
     {"item should be evicted", "cannot be evicted",
      "Expecting signal (any), properties downloaded: 0, downloading: 0, itemIdentifier: %@"},
     "evicting a file's local copy fails (only strict mode evicts)"},
    {"eviction-refused",
     false,
     "VLAttributeValidation.DownloadEvict",
     {kPassed},
     {},
     "outside strict mode no eviction is attempted"},
    {"syncing=no",
     false,
     "VLAttributeValidation.DownloadEvict",
     {kInconclusive},
     {"Not applicable to non-syncing providers"},
     "a provider that does not sync has nothing to download or evict"},
    {"syncing=no",
     true,
     "VLAttributeValidation.DownloadEvict",
     {kInconclusive},
     {"Not applicable to non-syncing providers"},
     "a provider that does not sync has nothing to download or evict"},

    // ---- VLTrashValidation ---------------------------------------------------------------
    {"untrash-elsewhere",
     false,
     "VLTrashValidation.TrashUntrash/*",
     {kInconclusive},
     {"Expected untrashed item %@ to move back to %@, but it moved to %@ instead"},
     "an untrashed folder goes back to another place than where it was"},
    {"untrash-detaches-children",
     false,
     "VLTrashValidation.TrashUntrash/*",
     {kFailed},
     {"Expected untrashed child %@ to move back to %@ as part of its hierarchy, but it moved to %@ instead"},
     "an untrashed folder's child comes back beside it instead of inside"},
    {"untrash-elsewhere,untrash-detaches-children",
     false,
     "VLTrashValidation.TrashUntrash/*",
     {kInconclusive},
     {"Expected untrashed item %@ to move back to %@, but it moved to %@ instead",
      "Expected untrashed child %@ to move back to %@ as part of its hierarchy, but it moved to %@ instead"},
     "both of the above: the folder's place only makes the run inconclusive, which outranks the failure"},
    {"trashed-children-stay-in-working-set",
     false,
     "VLTrashValidation.TrashUntrash/TrashingFolder",
     {kFailed},
     {"Expecting signal (delete), properties filename: %@, pending: 0 on working set events", "Timed out (30s)"},
     "the children of a trashed folder stay in the working set",
     true},
    {"trashed-children-stay-in-working-set,untrash-elsewhere",
     false,
     "VLTrashValidation.TrashUntrash/TrashingFile",
     {kFailed},
     {"Expecting signal (delete), properties filename: %@, pending: 0 on working set events", "Timed out (30s)"},
     "both: the run stops at the gate after the missed deletion, so where the folder went back is not judged "
     "(that alone would make it inconclusive)",
     true},
};

// The text a failed or inconclusive expectation shows: description, comment, error.
std::vector<std::string> textsOf(const VLExpectation& expectation) {
  std::vector<std::string> texts{expectation.description(), expectation.comment().value_or("")};
  if (auto error = expectation.error()) texts.push_back(vl_prettyDescription(error));
  return texts;
}

}  // namespace

const std::vector<VLFaultMatrixRow>& VLFaultMatrix::rows() { return kRows; }

bool VLFaultMatrix::containsWords(const std::string& text, const std::string& words) {
  // The pieces between the "%@" holes must occur in order; taking each at its earliest
  // place after the previous one never misses a match that exists.
  size_t at = 0, start = 0;
  while (true) {
    size_t hole = words.find("%@", start);
    std::string piece = words.substr(start, hole == std::string::npos ? std::string::npos : hole - start);
    size_t found = text.find(piece, at);
    if (found == std::string::npos) return false;
    at = found + piece.size();
    if (hole == std::string::npos) return true;
    start = hole + 2;
  }
}

std::string VLFaultMatrix::mismatch(const VLFaultMatrixRow& row, const VLCaseOutcome& outcome) {
  std::vector<std::string> problems;
  if (std::find(row.verdicts.begin(), row.verdicts.end(), outcome.result) == row.verdicts.end()) {
    std::string wanted;
    for (auto verdict : row.verdicts) wanted += (wanted.empty() ? "" : " or ") + std::string(vl_resultName(verdict));
    problems.push_back(VLFormat("ended %s instead of %@", vl_resultName(outcome.result), wanted));
  }
  for (const auto& words : row.words) {
    bool found = false;
    for (const auto& expectation : outcome.handledExpectations) {
      if (expectation->result() == VLValidationResultPassed) continue;
      for (const auto& text : textsOf(*expectation)) found = found || containsWords(text, words);
    }
    if (!found) problems.push_back("no expectation that did not pass says \"" + words + "\"");
  }
  std::string text;
  for (const auto& problem : problems) text += (text.empty() ? "" : "; ") + problem;
  return text;
}

const VLFaultMatrixRow* VLFaultMatrix::rowFor(const std::string& settings, bool strict, const std::string& shortID) {
  for (const std::string& candidate : {settings, std::string()}) {
    for (const auto& row : kRows) {
      if (row.settings == candidate && row.strict == strict && VLCaseFilter(row.cases).matches(shortID)) return &row;
    }
  }
  return nullptr;
}
