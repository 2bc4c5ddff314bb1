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
    {.settings = "case-sensitive-names",
     .cases = "VLContainerValidation.SecondItemIsBouncedWithCaseMismatch/*",
     .verdicts = {kFailed},
     .words = {"subsequent copy of %@ to %@ should fail with filename collision error",
               "Operation was expected to fail"},
     .fault = "names that differ only in letter case do not collide"},
    {.settings = "no-collision-check",
     .cases = "VLContainerValidation.SecondItemIsBounced*",
     .verdicts = {kFailed},
     .words = {"subsequent copy of %@ to %@ should fail with filename collision error",
               "Operation was expected to fail"},
     .fault = "a second item under a taken name is accepted under another name"},
    {.settings = "collision-names-other-item",
     .cases = "VLContainerValidation.SecondItemIsBounced*",
     .verdicts = {kFailed},
     .words = {"subsequent copy of %@ to %@ should fail with filename collision error", "already exists"},
     .fault = "the collision error names another item than the one in the way"},
    {.settings = "collision-wrong-error",
     .cases = "VLContainerValidation.SecondItemIsBounced*",
     .verdicts = {kFailed},
     .words = {"subsequent copy of %@ to %@ should fail with filename collision error", "File exists"},
     .fault = "a clash is refused with a plain file-system error, not a filename collision"},
    {.settings = "rename-changes-identifier",
     .cases = "VLContainerValidation.RenamingPreservesItemIdentifier/*",
     .verdicts = {kFailed},
     .words = {"Expecting signal (any), properties filename: %@-Renamed, itemIdentifier: %@", "Timed out ("},
     .fault = "a renamed item comes back under a new identifier"},
    {.settings = "no-child-count",
     .cases = "VLContainerValidation.ItemCount/*",
     .verdicts = {kInconclusive},
     .words = {"Folder creation returned item %@ without childItemCount"},
     .fault = "folders report no child count"},
    {.settings = "child-count-includes-hidden",
     .cases = "VLContainerValidation.ItemCount/*",
     .verdicts = {kFailed},
     .words = {"Expecting child item count of %@ to be 0", "Child item count is 1"},
     .fault = "a new folder counts a hidden child"},
    {.settings = "stale-child-count",
     .cases = "VLContainerValidation.ItemCount/*",
     .verdicts = {kFailed},
     .words = {"Never got an update for folder %@", "childItemCount: got 0, but expected 1"},
     .fault = "a folder's child count is not updated when a child is added"},
    {.settings = "corrupt-content",
     .cases = "VLContainerValidation.ImportAddsToContainer/*",
     .verdicts = {kFailed},
     .words = {"Expected file %@ for item %@ to have contents %@, but contents were %@ instead"},
     .fault = "imported bytes are stored damaged"},
    {.settings = "import-reports-no-item",
     .cases = "VLContainerValidation.ImportAddsToContainer/*",
     .verdicts = {kFailed},
     .words = {"Import returned no overall error but no item either"},
     .fault = "an import succeeds without naming the new item"},
    {.settings = "lookup-returns-other-identifier",
     .cases = "VLContainerValidation.LookupIdentity/*",
     .verdicts = {kFailed},
     .words = {"Returned item identifier alias:%@ doesn't match expected identifier %@"},
     .fault = "looking an item up answers with another identifier"},
    {.settings = "delete-leaves-children-fetchable",
     .cases = "VLContainerValidation.SubitemsAreGoneAfterDeletingFolder/*",
     .verdicts = {kFailed},
     .words = {"Looking up item %@ should fail"},
     .fault = "a deleted folder's child still resolves by its URL"},
    {.settings = "delete-refuses-nonempty-folders",
     .cases = "VLContainerValidation.SubitemsAreGoneAfterDeletingFolder/*",
     .verdicts = {kFailed},
     .words = {"Deletion of item %@", "Directory not empty"},
     .fault = "a folder with children cannot be deleted"},
    {.settings = "no-subitem-capability",
     .cases = "VLContainerValidation.FolderCreation/*",
     .verdicts = {kFailed},
     .words = {"Container %@ doesn't allow creating subitems"},
     .fault = "containers do not allow adding items"},
    {.settings = "enumeration-wrong-parent",
     .cases = "VLContainerValidation.Hierarchy",
     .verdicts = {kFailed},
     .words = {"Item %@ enumerated for container %@ should have that container as parent", "Item's parent was %@"},
     .fault = "enumerations name a wrong parent for their items"},
    {.settings = "root-has-parent",
     .cases = "VLContainerValidation.Hierarchy",
     .verdicts = {kFailed},
     .words = {"Root item shouldn't have a parent, or it should be root", "Parent was %@"},
     .fault = "the root container reports a parent"},
    {.settings = "folder-enumeration-hangs",
     .cases = "VLContainerValidation.Hierarchy",
     .verdicts = {kFailed},
     .words = {"Expect items to be enumerated", "Timed out (20s)"},
     .fault = "enumerating a folder never finishes",
     .slow = true},
    // ---- VLFileTypeValidation -------------------------------------------------------------
    // The rows that must pass show differences a correct check has to see past.
    {.settings = "all-files-public-data",
     .cases = "VLFileTypeValidation.FileTypeIsReturnedCorrectly/*",
     .verdicts = {kFailed},
     .words = {"Expect item with extension %@ to conform to type %@",
               "Item %@ has type public.data which doesn't conform to type %@"},
     .fault = "every file and package is typed \"public.data\", which is no extension's own type"},
    {.settings = "all-files-public-data",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kPassed},
     .words = {},
     .fault = "a wrong type does not spoil the thumbnail of a picture"},
    {.settings = "packages-typed-flat",
     .cases = "VLFileTypeValidation.FileTypeIsReturnedCorrectly/BrindlePackage",
     .verdicts = {kFailed},
     .words =
         {"Item %@ doesn't conform to type org.brindle.package, but does conform to type org.brindle.document for the "
          "same extension that doesn't conform to public.package."},
     .fault = "a package is typed as the flat document that its extension also names"},
    {.settings = "packages-typed-flat",
     .cases = "VLFileTypeValidation.FileTypeIsReturnedCorrectly/RichTextBundle",
     .verdicts = {kFailed},
     .words = {"Item %@ has type %@ which doesn't conform to type public.rtfd"},
     .fault = "a package whose extension names no flat type is typed as plain data"},
    {.settings = "thumbnails-upside-down",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kFailed},
     .words = {"expect a green pixel in the top half", "expect a red pixel in the bottom half"},
     .fault = "thumbnails show the picture upside down"},
    {.settings = "no-thumbnails",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kInconclusive},
     .words = {"Thumbnail operation didn't return a thumbnail"},
     .fault = "thumbnail fetches return neither a picture nor an error"},
    {.settings = "thumbnails-fail",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kInconclusive},
     .words = {"Thumbnail operation failed with error %@"},
     .fault = "thumbnail fetches fail"},
    {.settings = "thumbnails-other-size",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kPassed},
     .words = {},
     .fault = "a thumbnail of another size than asked for is scaled before it is judged"},
    {.settings = "thumbnails-cached-icon-bitmap",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kPassed},
     .words = {},
     .fault = "a thumbnail in the cached-icon-bitmap format is decoded and judged like any other"},
    {.settings = "thumbnails-cached-icon-bitmap,thumbnails-upside-down",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kFailed},
     .words = {"expect a green pixel in the top half", "expect a red pixel in the bottom half"},
     .fault = "an upside-down thumbnail in the cached-icon-bitmap format"},
    {.settings = "thumbnails-undecodable",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kInconclusive},
     .words = {"Thumbnail data could not be decoded as an image"},
     .fault = "a thumbnail that is no image is never judged to show the picture"},
    {.settings = "thumbnails-cached-icon-bitmap,thumbnails-undecodable",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kInconclusive},
     .words = {"Thumbnail data could not be decoded as an image"},
     .fault = "a cached-icon-bitmap thumbnail that is no image"},
    {.settings = "thumbnails-cached-icon-png",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kPassed},
     .words = {},
     .fault = "a PNG sent under the cached-icon-bitmap format is decoded and judged like any other"},
    {.settings = "thumbnails-cached-icon-png,thumbnails-upside-down",
     .cases = "VLFileTypeValidation.ThumbnailsRepresentItem",
     .verdicts = {kFailed},
     .words = {"expect a green pixel in the top half", "expect a red pixel in the bottom half"},
     .fault = "an upside-down PNG sent under the cached-icon-bitmap format"},
    // ---- VLPlaceholderValidation ----------------------------------------------------------
    // Outside strict mode a conformant provider stops after the eviction, inconclusive.
    {.settings = "",
     .cases = "VLPlaceholderValidation.PlaceholderIsWritten",
     .verdicts = {kInconclusive},
     .words = {"Not checking for file eviction on %@ since we aren't running in strict mode"},
     .fault = "a conformant provider, outside strict mode"},
    {.settings = "syncing=no",
     .cases = "VLPlaceholderValidation.PlaceholderIsWritten",
     .verdicts = {kInconclusive},
     .words = {"Not applicable to non-syncing providers"},
     .fault = "a provider that does not sync has no local copies to evict"},
    {.settings = "syncing=no",
     .strict = true,
     .cases = "VLPlaceholderValidation.PlaceholderIsWritten",
     .verdicts = {kInconclusive},
     .words = {"Not applicable to non-syncing providers"},
     .fault = "a provider that does not sync has no local copies to evict"},
    {.settings = "no-validation-service",
     .cases = "VLPlaceholderValidation.PlaceholderIsWritten",
     .verdicts = {kFailed},
     .words = {"eviction on item %@ should finish without error", "KsTarragonErrorDomain error 3328"},
     .fault = "the provider offers no validation service to evict through"},
    // Whether the "still appears present on disk" mark lands before the result is computed
    // decides between the two verdicts; either catches the fault.
    {.settings = "eviction-keeps-content",
     .strict = true,
     .cases = "VLPlaceholderValidation.PlaceholderIsWritten",
     .verdicts = {kFailed, kInconclusive},
     .words = {"after item removal, we should be able to get a placeholder for item %@"},
     .fault = "eviction reports \"not downloaded\" but leaves the content on disk"},
    {.settings = "eviction-stays-downloaded",
     .strict = true,
     .cases = "VLPlaceholderValidation.PlaceholderIsWritten",
     .verdicts = {kInconclusive},
     .words = {"Item %@ did not get evicted after call to validation_evictDocumentWith"},
     .fault = "eviction succeeds but the item never reports itself not downloaded"},
    {.settings = "no-placeholders",
     .strict = true,
     .cases = "VLPlaceholderValidation.PlaceholderIsWritten",
     .verdicts = {kFailed},
     .words = {"after item removal, we should be able to get a placeholder for item %@", "No such file"},
     .fault = "an evicted file's URL cannot be had with a placeholder"},
    {.settings = "never-upload",
     .cases = "VLPlaceholderValidation.PlaceholderIsWritten",
     .verdicts = {kInconclusive},
     .words = {"Item %@ did not get uploaded in time"},
     .fault = "new files are never uploaded",
     .slow = true},
    // ---- VLAttributeValidation -----------------------------------------------------------
    {.settings = "tags-dropped",
     .cases = "VLAttributeValidation.Tags/*",
     .verdicts = {kFailed},
     .words =
         {"Expecting signal (any), properties filename: %@, parentItemIdentifier: %@, pending: 0, tags: ( Red#7 ) on "
          "events for %@",
          "tags: got %@, but expected ( Red#7 )",
          "Expecting signal (any), properties filename: %@, parentItemIdentifier: %@, pending: 0, tags: ( Red#7 ) on "
          "working set events"},
     .fault = "setting tags succeeds, but the tags never show"},
    {.settings = "last-used-date-offset",
     .cases = "VLAttributeValidation.LastUsedDate/*",
     .verdicts = {kFailed},
     .words =
         {"Expecting signal (any), properties filename: %@, lastUsedDate: %@, parentItemIdentifier: %@, pending: 0 on "
          "working set events",
          "lastUsedDate: got %@, but expected %@"},
     .fault = "a last-used date is stored other than it was set"},
    {.settings = "move-out-as-update",
     .cases = "VLAttributeValidation.Reparent/*",
     .verdicts = {kFailed},
     .words = {"Expecting signal (delete), properties itemIdentifier: %@, pending: 0 on events for %@",
               "Timed out (5s)"},
     .fault = "an item moved out of a folder shows there as an update, not a deletion"},
    {.settings = "move-reports-old-parent",
     .cases = "VLAttributeValidation.Reparent/*",
     .verdicts = {kFailed},
     .words = {"item should be reparented out to %@", "item should be reparented in to %@"},
     .fault = "a move's results name the item's former parent"},
    {.settings = "rename-changes-identifier",
     .cases = "VLAttributeValidation.Rename/*",
     .verdicts = {kFailed},
     .words = {"Expecting signal (any), properties downloading: 0, filename: %@_renamed, itemIdentifier: %@",
               "Timed out (5s)"},
     .fault = "a renamed item comes back under a new identifier"},
    {.settings = "rename-marks-not-downloaded",
     .strict = true,
     .cases = "VLAttributeValidation.Rename/*",
     .verdicts = {kFailed},
     .words = {"Expecting signal (any), properties downloaded: 1, downloading: 0, filename: %@_renamed",
               "downloaded: got 0, but expected 1"},
     .fault = "a renamed file no longer counts as downloaded (only strict mode asks)"},
    {.settings = "rename-marks-not-downloaded",
     .cases = "VLAttributeValidation.Rename/*",
     .verdicts = {kPassed},
     .words = {},
     .fault = "outside strict mode a renamed file's download state is not looked at"},
    {.settings = "rename-refused",
     .cases = "VLAttributeValidation.Rename/*",
     .verdicts = {kFailed},
     .words = {"%@ should be renamed to %@_renamed", "cannot be renamed"},
     .fault = "renaming fails"},
    {.settings = "never-upload",
     .cases = "VLAttributeValidation.DownloadEvict",
     .verdicts = {kFailed},
     .words =
         {"Expecting signal (any), properties downloaded: 1, downloading: 0, itemIdentifier: %@, parentItemIdentifier: "
          "%@, pending: 0, uploaded: 1 on events for %@",
          "uploaded: got 0, but expected 1"},
     .fault = "a new file is never uploaded"},
    {.settings = "download-reports-downloading",
     .cases = "VLAttributeValidation.DownloadEvict",
     .verdicts = {kFailed},
     .words = {"item should be downloaded"},
     .fault = "a download completes while the item is still downloading"},
    {.settings = "eviction-refused",
     .strict = true,
     .cases = "VLAttributeValidation.DownloadEvict",
     .verdicts = {kFailed},
     .words = {"item should be evicted", "cannot be evicted",
               "Expecting signal (any), properties downloaded: 0, downloading: 0, itemIdentifier: %@"},
     .fault = "evicting a file's local copy fails (only strict mode evicts)"},
    {.settings = "eviction-refused",
     .cases = "VLAttributeValidation.DownloadEvict",
     .verdicts = {kPassed},
     .words = {},
     .fault = "outside strict mode no eviction is attempted"},
    {.settings = "syncing=no",
     .cases = "VLAttributeValidation.DownloadEvict",
     .verdicts = {kInconclusive},
     .words = {"Not applicable to non-syncing providers"},
     .fault = "a provider that does not sync has nothing to download or evict"},
    {.settings = "syncing=no",
     .strict = true,
     .cases = "VLAttributeValidation.DownloadEvict",
     .verdicts = {kInconclusive},
     .words = {"Not applicable to non-syncing providers"},
     .fault = "a provider that does not sync has nothing to download or evict"},
    // ---- VLTrashValidation ---------------------------------------------------------------
    {.settings = "untrash-elsewhere",
     .cases = "VLTrashValidation.TrashUntrash/*",
     .verdicts = {kInconclusive},
     .words = {"Expected untrashed item %@ to move back to %@, but it moved to %@ instead"},
     .fault = "an untrashed folder goes back to another place than where it was"},
    {.settings = "untrash-detaches-children",
     .cases = "VLTrashValidation.TrashUntrash/*",
     .verdicts = {kFailed},
     .words = {"Expected untrashed child %@ to move back to %@ as part of its hierarchy, but it moved to %@ instead"},
     .fault = "an untrashed folder's child comes back beside it instead of inside"},
    {.settings = "untrash-elsewhere,untrash-detaches-children",
     .cases = "VLTrashValidation.TrashUntrash/*",
     .verdicts = {kInconclusive},
     .words = {"Expected untrashed item %@ to move back to %@, but it moved to %@ instead",
               "Expected untrashed child %@ to move back to %@ as part of its hierarchy, but it moved to %@ instead"},
     .fault = "both of the above: the folder's place only makes the run inconclusive, which outranks the failure"},
    {.settings = "trashed-children-stay-in-working-set",
     .cases = "VLTrashValidation.TrashUntrash/TrashingFolder",
     .verdicts = {kFailed},
     .words = {"Expecting signal (delete), properties filename: %@, pending: 0 on working set events",
               "Timed out (30s)"},
     .fault = "the children of a trashed folder stay in the working set",
     .slow = true},
    {.settings = "trashed-children-stay-in-working-set,untrash-elsewhere",
     .cases = "VLTrashValidation.TrashUntrash/TrashingFile",
     .verdicts = {kFailed},
     .words = {"Expecting signal (delete), properties filename: %@, pending: 0 on working set events",
               "Timed out (30s)"},
     .fault = "both: the run stops at the gate after the missed deletion, so where the folder went back is not judged "
              "(that alone would make it inconclusive)",
     .slow = true},
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
