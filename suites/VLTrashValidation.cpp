#include "VLTrashValidation.h"

#include "Vaultline/VLModifyFavoritesOperation.h"
#include "Vaultline/VLSetLastOpenDateOperation.h"
#include "Vaultline/VLTrashOperation.h"
#include "Vaultline/VLUntrashOperation.h"

namespace {

const char* const kFolderType = "public.folder";
constexpr int64_t kFolderRank = 1234;
constexpr int64_t kChildFolderRank = 4321;
// A provider may take a while to move a whole hierarchy in or out of the trash.
constexpr double kTrashTimeout = 30.0;

std::shared_ptr<VLExpectedEvent> named(const std::string& filename, bool trashed) {
  return VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
    item.setTrashed(trashed);
    item.setFilename(filename);
  });
}

}  // namespace

std::vector<VLValidationOperation> VLTrashValidation::operations() {
  using Self = VLTrashValidation;
  return {
      {"validateTrashUntrash:variant:", &Self::validateTrashUntrash},
      {"variantTrashingFolder:", &Self::variantTrashingFolder},
      {"variantTrashingFile:", &Self::variantTrashingFile},
  };
}

VLValue VLTrashValidation::variantTrashingFolder(const Validator&) { return std::string(kFolderType); }

VLValue VLTrashValidation::variantTrashingFile(const Validator&) { return std::string("public.item"); }

void VLTrashValidation::validateTrashUntrash(const Validator& validator, const std::string& childType) {
  const std::string root = provider()->alternateRootContainer();
  auto manager = validator->itemManager();
  auto cursor = VLEventCursor::make(validator, createWorkingSetCollectionStream());
  VLItemRef folder = createTestItem(validator, root, true);
  if (!folder) return;
  const bool childIsFolder = childType == kFolderType;
  VLItemRef child = createTestItem(validator, folder->itemIdentifier(), childIsFolder);
  if (!child) return;

  // Into the working set: a child folder by its favourite rank, a child file by being opened.
  if (childIsFolder) {
    manager->scheduleAction(VLModifyFavoritesOperation::make({folder, child}, {kFolderRank, kChildFolderRank}));
  } else {
    manager->scheduleAction(VLModifyFavoritesOperation::make({folder}, {kFolderRank}));
    manager->scheduleAction(VLSetLastOpenDateOperation::make({child}, VLDate::now()));
  }
  // The two may show in either order.
  cursor->check(named(folder->filename(), false));
  cursor->check(named(child->filename(), false));
  cursor->advanceToFurthestMatch();
  if (validator->expectationsHaveFailed()) return;

  manager->scheduleAction(VLTrashOperation::make({folder}));
  cursor->check(named(folder->filename(), true));
  // The child leaves the working set with its trashed parent.
  cursor->check(
      VLExpectedEvent::eventWithType(VLEventDelete, [&](VLExpectedItem& item) { item.setFilename(child->filename()); }),
      kTrashTimeout);
  cursor->advanceToFurthestMatch();

  // No restore directory: the provider chooses where the folder goes back.
  manager->scheduleAction(VLUntrashOperation::make({folder}, nullptr));
  VLEventRef restoredFolder = cursor->check(named(folder->filename(), false), kTrashTimeout);
  VLEventRef restoredChild = cursor->check(named(child->filename(), false), kTrashTimeout);
  cursor->advanceToFurthestMatch();
  if (validator->expectationsHaveFailed() || !restoredFolder || !restoredChild) return;

  // Deliberately unequal: the folder may go back where the provider likes, the child must
  // stay inside it.
  VLItemRef folderAfter = restoredFolder->item();
  VLItemRef childAfter = restoredChild->item();
  if (folderAfter->parentItemIdentifier() != root) {
    validator->markInconclusiveWithComment("Expected untrashed item %@ to move back to %@, but it moved to %@ instead",
                                           folderAfter->itemIdentifier(), root, folderAfter->parentItemIdentifier());
  }
  if (childAfter->parentItemIdentifier() != folder->itemIdentifier()) {
    validator->failWithComment(
        "Expected untrashed child %@ to move back to %@ as part of its hierarchy, but it moved to %@ instead",
        childAfter->itemIdentifier(), folder->itemIdentifier(), childAfter->parentItemIdentifier());
  }
}
