#include "VLAttributeValidation.h"

#include "Vaultline/VLDownloadOperation.h"
#include "Vaultline/VLEvictOperation.h"
#include "Vaultline/VLModifyFavoritesOperation.h"
#include "Vaultline/VLMoveOperation.h"
#include "Vaultline/VLRenameOperation.h"
#include "Vaultline/VLSetLastOpenDateOperation.h"
#include "Vaultline/VLSetTagsOperation.h"

namespace {

constexpr int64_t kFavoriteRank = 12345;
constexpr double kDownloadEventTimeout = 10.0;

// Settles `expectation` from a finished move: the item the move reports for `moved` must
// name `destination` as its parent. Holds the action weakly, since the action owns it.
std::function<void(VLErrorRef)> reparentSettling(const std::shared_ptr<VLMoveOperation>& move, VLItemRef moved,
                                                 std::string destination, std::shared_ptr<VLExpectation> expectation) {
  std::weak_ptr<VLMoveOperation> weakMove = move;
  return [weakMove, moved = std::move(moved), destination = std::move(destination), expectation](VLErrorRef error) {
    if (error) return expectation->failWithError(error);
    auto move = weakMove.lock();
    VLItemRef result = move ? move->transferResultForItem(moved) : nullptr;
    if (result && result->parentItemIdentifier() == destination) return expectation->fulfill();
    expectation->failWithError(nullptr);
  };
}

}  // namespace

std::vector<VLValidationOperation> VLAttributeValidation::operations() {
  using Self = VLAttributeValidation;
  return {
      {"variantRootContainer:", &Self::variantRootContainer},
      {"variantFolder:", &Self::variantFolder},
      {"validateTags:variant:", &Self::validateTags},
      {"validateLastUsedDate:variant:", &Self::validateLastUsedDate},
      {"validateFavoriteRank:variant:", &Self::validateFavoriteRank},
      {"validateRename:variant:", &Self::validateRename},
      {"validateReparent:variant:", &Self::validateReparent},
      {"validateDownloadEvict:", &Self::validateDownloadEvict},
  };
}

VLValue VLAttributeValidation::variantRootContainer(const Validator&) { return provider()->alternateRootContainer(); }

VLValue VLAttributeValidation::variantFolder(const Validator& validator) {
  VLItemRef folder = createTestItem(validator, provider()->alternateRootContainer(), true);
  return folder ? VLValue(folder->itemIdentifier()) : VLValue();
}

void VLAttributeValidation::validateTags(const Validator& validator, const std::string& container) {
  const VLSetTagsOperation::TagList tags{VLTag::make("Red", 7)};
  watchAttributeChange(
      validator, container, false, [&](const VLItemRef& file) { return VLSetTagsOperation::make({file}, {tags}); },
      [&](VLExpectedItem& item) { item.setTags(tags); }, true);
}

void VLAttributeValidation::validateLastUsedDate(const Validator& validator, const std::string& container) {
  VLDate date;
  watchAttributeChange(
      validator, container, false,
      [&](const VLItemRef& file) {
        date = VLDate::now();
        return VLSetLastOpenDateOperation::make({file}, date);
      },
      [&](VLExpectedItem& item) { item.setLastUsedDate(date); }, false);
}

void VLAttributeValidation::validateFavoriteRank(const Validator& validator, const std::string& container) {
  watchAttributeChange(
      validator, container, true,
      [](const VLItemRef& folder) { return VLModifyFavoritesOperation::make({folder}, {kFavoriteRank}); },
      [](VLExpectedItem& item) { item.setFavoriteRank(kFavoriteRank); }, false);
}

void VLAttributeValidation::watchAttributeChange(const Validator& validator, const std::string& container,
                                                 bool isDirectory, const ActionMaker& makeAction,
                                                 const std::function<void(VLExpectedItem&)>& setValue,
                                                 bool containerFirst) {
  // Streams first, so that the item's own arrival is in them too.
  auto inContainer = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
  auto inWorkingSet = VLEventCursor::make(validator, createWorkingSetCollectionStream());
  VLItemRef item = createTestItem(validator, container, isDirectory);
  if (!item) return;

  // Judged by the logging item manager alone.
  validator->itemManager()->scheduleAction(makeAction(item));
  auto changed = [&] {
    return VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& expected) {
      setValue(expected);
      expected.setFilename(item->filename());
      expected.setParentItemIdentifier(container);
    });
  };
  auto& first = containerFirst ? inContainer : inWorkingSet;
  auto& second = containerFirst ? inWorkingSet : inContainer;
  first->advance(changed());
  second->advance(changed());
}

void VLAttributeValidation::validateRename(const Validator& validator, const std::string& container) {
  auto cursor = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
  VLItemRef file = createTestItem(validator, container, false);
  if (!file) return;

  const std::string newName = VLFormat("%@_renamed", file->filename());
  auto renamed = validator->expectationWithDescription("%@ should be renamed to %@", file->itemIdentifier(), newName);
  auto rename = VLRenameOperation::make(file, newName);
  rename->setActionCompletionBlock(completionSettling(renamed));
  validator->itemManager()->scheduleAction(rename);
  const bool strict = validator->strict();
  cursor->advance(VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
    item.setItemIdentifier(file->itemIdentifier());
    item.setFilename(newName);
    item.setDownloading(false);
    item.setParentItemIdentifier(container);
    // Only strict mode asks a provider to keep a renamed file's contents local.
    if (strict) item.setDownloaded(true);
  }));
}

void VLAttributeValidation::validateReparent(const Validator& validator, const std::string& container) {
  // One cursor watches both moves.
  auto cursor = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
  VLItemRef containerItem = lookupItemWithIdentifier(container, validator);
  VLItemRef file = createTestItem(validator, container, false);
  VLItemRef folder = createTestItem(validator, container, true);
  if (!containerItem || !file || !folder) return;
  auto manager = validator->itemManager();

  auto movedOut = validator->expectationWithDescription("item should be reparented out to %@", folder);
  auto out = VLMoveOperation::make({file}, folder);
  out->setActionCompletionBlock(reparentSettling(out, file, folder->itemIdentifier(), movedOut));
  manager->scheduleAction(out);
  // Leaving a container must show there as a deletion, not as an update.
  cursor->advance(VLExpectedEvent::eventWithType(
      VLEventDelete, [&](VLExpectedItem& item) { item.setItemIdentifier(file->itemIdentifier()); }));

  VLItemRef moved = lookupItemWithIdentifier(file->itemIdentifier(), validator);
  if (!moved) return;
  auto movedIn = validator->expectationWithDescription("item should be reparented in to %@", containerItem);
  auto back = VLMoveOperation::make({moved}, containerItem);
  back->setActionCompletionBlock(reparentSettling(back, moved, containerItem->itemIdentifier(), movedIn));
  manager->scheduleAction(back);
  cursor->advance(VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
    item.setParentItemIdentifier(containerItem->itemIdentifier());
    item.setItemIdentifier(file->itemIdentifier());
  }));
}

void VLAttributeValidation::validateDownloadEvict(const Validator& validator) {
  if (!provider()->isSyncingProvider()) {
    validator->markInconclusiveWithComment("Not applicable to non-syncing providers");
    return;
  }
  const std::string container = provider()->alternateRootContainer();
  auto manager = validator->itemManager();
  auto cursor = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
  VLItemRef file = createTestItem(validator, container, false);
  if (!file) return;

  auto downloaded = validator->expectationWithDescription("item should be downloaded");
  auto download = VLDownloadOperation::make({file});
  download->setDownloadCompletionBlock([downloaded](const std::vector<VLItemRef>& items, VLErrorRef error) {
    if (error) return downloaded->failWithError(error);
    if (items.size() == 1 && items.front() && items.front()->isDownloaded() && !items.front()->isDownloading()) {
      return downloaded->fulfill();
    }
    downloaded->failWithError(nullptr);
  });
  manager->scheduleAction(download);
  auto local = [&](bool isLocal) {
    return VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
      item.setParentItemIdentifier(container);
      item.setItemIdentifier(file->itemIdentifier());
      item.setDownloaded(isLocal);
      item.setDownloading(false);
      item.setUploaded(true);
    });
  };
  cursor->advance(local(true), kDownloadEventTimeout);
  validator->waitForExpectations();

  // Outside strict mode the eviction is skipped without a word.
  if (!validator->strict()) return;
  auto evicted = validator->expectationWithDescription("item should be evicted");
  auto evict = VLEvictOperation::make({file});
  evict->setActionCompletionBlock(completionSettling(evicted));
  manager->scheduleAction(evict);
  cursor->advance(local(false), kDownloadEventTimeout);
}
