#include "VLContainerValidation.h"

#include <algorithm>
#include <cctype>

#include "Core/VLRandom.h"
#include "Core/VLText.h"
#include "ValidationCollectionScanner.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLCopyOperation.h"
#include "Vaultline/VLDeleteOperation.h"
#include "Vaultline/VLFileCoordinator.h"
#include "Vaultline/VLFileManager.h"
#include "Vaultline/VLRenameOperation.h"

namespace {

using Validator = VLContainerValidation::Validator;

// A value written by a completion on a service thread and read by the validation only after
// the wait that the completion's expectation is part of.
template <class T>
using Slot = std::shared_ptr<T>;

}  // namespace

std::vector<VLValidationOperation> VLContainerValidation::operations() {
  using Self = VLContainerValidation;
  using PlainBounce = void (Self::*)(const Validator&, const std::string&);
  using SharedBounce = void (Self::*)(const Validator&, bool, const std::string&);
  return {
      {"variantRootContainer:", &Self::variantRootContainer},
      {"variantFolder:", &Self::variantFolder},
      {"validateItemCount:variant:", &Self::validateItemCount},
      {"validateImportAddsToContainer:variant:", &Self::validateImportAddsToContainer},
      {"validateFolderCreation:variant:", &Self::validateFolderCreation},
      {"validateLookupIdentity:variant:", &Self::validateLookupIdentity},
      {"validateRenamingPreservesItemIdentifier:variant:", &Self::validateRenamingPreservesItemIdentifier},
      {"validateSecondItemIsBounced:variant:", static_cast<PlainBounce>(&Self::validateSecondItemIsBounced)},
      {"validateSecondItemIsBouncedWithCaseMismatch:variant:", &Self::validateSecondItemIsBouncedWithCaseMismatch},
      {"validateSecondItemIsBounced:changeCase:variant:",
       static_cast<SharedBounce>(&Self::validateSecondItemIsBounced)},
      {"validateSubitemsAreGoneAfterDeletingFolder:variant:", &Self::validateSubitemsAreGoneAfterDeletingFolder},
      {"validateHierarchy:", &Self::validateHierarchy},
  };
}

VLValue VLContainerValidation::variantRootContainer(const Validator&) { return provider()->alternateRootContainer(); }

VLValue VLContainerValidation::variantFolder(const Validator& validator) {
  VLItemRef folder = createTestItem(validator, provider()->alternateRootContainer(), true);
  return folder ? VLValue(folder->itemIdentifier()) : VLValue();
}

void VLContainerValidation::validateItemCount(const Validator& validator, const std::string& container) {
  VLItemRef folder = createTestItem(validator, container, true);
  if (!folder) return;
  const std::string& identifier = folder->itemIdentifier();
  if (!folder->childItemCount()) {
    validator->markInconclusiveWithComment("Folder creation returned item %@ without childItemCount", identifier);
    return;
  }
  auto empty = validator->expectationWithDescription("Expecting child item count of %@ to be 0", identifier);
  if (*folder->childItemCount() == 0) {
    empty->fulfill();
  } else {
    empty->failWithComment("Child item count is %@", folder->childItemCount());
  }
  if (validator->expectationsHaveFailed()) return;

  std::vector<VLItemRef> children;
  for (int i = 0; i < 5; ++i) {
    VLItemRef child = createTestItem(validator, identifier, i % 3 == 2);
    if (!child) break;
    children.push_back(child);
    const auto count = static_cast<int64_t>(children.size());
    auto counted = validator->expectationWithDescription("Expecting child item count of %@ to be %lu", identifier,
                                                         children.size());
    // A fresh stream on the folder's parent each time, opened only once the child exists.
    auto cursor = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
    VLEventRef event = cursor->advance(VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
      item.setItemIdentifier(identifier);
      item.setChildItemCount(count);
    }));
    VLItemRef updated = event ? event->item() : nullptr;
    if (updated && updated->childItemCount() == count) {
      counted->fulfill();
    } else if (!updated) {
      counted->failWithComment("Never got an update for folder %@", identifier);
    } else {
      counted->failWithComment("Child item count of %@ is %@", updated->itemIdentifier(), updated->childItemCount());
    }
    if (validator->expectationsHaveFailed()) break;
  }
}

void VLContainerValidation::validateImportAddsToContainer(const Validator& validator, const std::string& container) {
  const VLData written = VLData::fromString("some test data that we hopefully will get back");
  VLItemRef item = createTestFile(validator, container, written, std::string("txt"));
  if (!item) return;

  auto located = validator->expectationWithDescription("Getting URL for item %@", item->filename());
  auto url = std::make_shared<std::optional<VLURL>>();
  std::weak_ptr<VLValidator> weakValidator = validator;
  VLItemManager::defaultManager()->fetchURLForItem(
      item, false, [located, url, weakValidator, identifier = item->itemIdentifier()](auto found, VLErrorRef error) {
        if (error || !found) return located->failWithError(error);
        if (auto validator = weakValidator.lock())
          validator->registerIdentifiers({identifier, found->absoluteString()});
        *url = found;
        located->fulfill();
      });
  validator->waitForExpectations();
  if (validator->expectationsHaveFailed()) return;

  auto compared =
      validator->expectationWithDescription("Comparing contents of item %@ with what we wrote", item->filename());
  VLErrorRef coordinationError;
  VLFileCoordinator coordinator;
  coordinator.coordinateReadingItemAtURL(**url, &coordinationError, [&](const VLURL& readable) {
    std::optional<VLData> read = VLFileManager::defaultManager().contentsAtURL(readable);
    if (read && *read == written) {
      compared->fulfill();
    } else {
      compared->failWithError(VLError::makeWithDescription(
          KsVaultlineValidationErrorDomain, VLValidationErrorFailure,
          VLFormat("Expected file %@ for item %@ to have contents %@, but contents were %@ instead", **url,
                   item->itemIdentifier(), written, read)));
    }
  });
  if (coordinationError) compared->failWithError(coordinationError);
  validator->waitForExpectations();
}

void VLContainerValidation::validateFolderCreation(const Validator& validator, const std::string& container) {
  createTestItem(validator, container, true);
}

void VLContainerValidation::validateLookupIdentity(const Validator& validator, const std::string& container) {
  VLItemRef item = lookupItemWithIdentifier(container, validator);
  if (item && item->itemIdentifier() == container) {
    validator->expectationWithDescription("Looking up item %@ should return an item with that identifier", container)
        ->fulfill();
  } else {
    validator->failWithComment("Returned item identifier %@ doesn't match expected identifier %@",
                               item ? item->itemIdentifier() : std::string(), container);
  }
}

void VLContainerValidation::validateRenamingPreservesItemIdentifier(const Validator& validator,
                                                                    const std::string& container) {
  auto cursor = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
  VLItemRef file = createTestItem(validator, container, false);
  if (!file) return;
  std::string newName = VLFormat("%@-Renamed", file->filename());
  auto rename = VLRenameOperation::make(file, newName);
  auto renamed = validator->expectationWithDescription("Expecting %@ to be renamed to %@", file->filename(), newName);
  rename->setActionCompletionBlock(completionSettling(renamed));
  validator->itemManager()->scheduleAction(rename);
  // The identifier key is the point: a renamed item with a new identifier never matches.
  cursor->advance(VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
    item.setFilename(newName);
    item.setParentItemIdentifier(container);
    item.setItemIdentifier(file->itemIdentifier());
  }));
  validator->waitForExpectations();
}

void VLContainerValidation::validateSecondItemIsBounced(const Validator& validator, const std::string& container) {
  validateSecondItemIsBounced(validator, false, container);
}

void VLContainerValidation::validateSecondItemIsBouncedWithCaseMismatch(const Validator& validator,
                                                                        const std::string& container) {
  validateSecondItemIsBounced(validator, true, container);
}

void VLContainerValidation::validateSecondItemIsBounced(const Validator& validator, bool changeCase,
                                                        const std::string& container) {
  auto cursor = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
  auto manager = validator->itemManager();
  VLItemRef containerItem = lookupItemWithIdentifier(container, validator);
  if (!containerItem) return;

  auto& files = VLFileManager::defaultManager();
  const VLData hello = VLData::fromString("Hello");
  std::string name = validator->newFilenameForDirectory(false);
  VLURL first = files.temporaryDirectory().URLByAppendingPathComponent(name, false);
  files.writeData(hello, first, true);
  VLURL second = first;
  if (changeCase) {
    VLURL directory = files.temporaryDirectory().URLByAppendingPathComponent(vl_UUIDString(), true);
    files.createDirectoryAtURL(directory, true);
    second = directory.URLByAppendingPathComponent(vl_lowercase(name), false);
    files.writeData(hello, second, true);
  }

  auto copied = validator->expectationWithDescription("copy item %@ to %@", name, container);
  auto copy = VLCopyOperation::makeWithCompatiblityURLs({first}, containerItem);
  copy->setActionCompletionBlock(completionSettling(copied));
  manager->scheduleAction(copy);
  VLEventRef event = cursor->advance(VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
    item.setFilename(name);
    item.setParentItemIdentifier(container);
  }));
  VLItemRef firstCopy = event ? event->item() : nullptr;
  // Removed at tear-down like every other test item: a validation run must leave nothing
  // behind in the provider it checks, and nothing else would delete this copy.
  registerItemToCleanup(firstCopy);

  auto bounced = validator->expectationWithDescription(
      "subsequent copy of %@ to %@ should fail with filename collision error", second.lastPathComponent(), container);
  auto again = VLCopyOperation::makeWithCompatiblityURLs({second}, containerItem);
  again->setActionCompletionBlock([bounced, firstCopy](VLErrorRef error) {
    bool collision =
        error && error->domain() == KsVaultlineErrorDomain && error->code() == VLVaultlineErrorFilenameCollision;
    if (collision && firstCopy) {
      auto found = error->userInfo().find(KsVaultlineErrorItem);
      auto existing = found == error->userInfo().end() ? nullptr : found->second.objectAs<VLItem>();
      if (existing && existing->itemIdentifier() == firstCopy->itemIdentifier()) return bounced->fulfill();
    }
    bounced->failWithError(error);
  });
  again->setExpectedToFail(true);
  manager->scheduleAction(again);
  validator->waitForExpectations();
}

void VLContainerValidation::validateSubitemsAreGoneAfterDeletingFolder(const Validator& validator,
                                                                       const std::string& container) {
  VLItemRef folder = createTestItem(validator, container, true);
  if (!folder) return;
  VLItemRef file = createTestItem(validator, folder->itemIdentifier(), false);
  if (!file) return;

  auto located = validator->expectationWithDescription("Fetching URL of item %@", file->itemIdentifier());
  auto url = std::make_shared<std::optional<VLURL>>();
  std::weak_ptr<VLValidator> weakValidator = validator;
  VLItemManager::defaultManager()->fetchURLForItem(
      file, false, [located, url, weakValidator, identifier = file->itemIdentifier()](auto found, VLErrorRef error) {
        if (!found || error) return located->failWithError(error);
        *url = found;
        if (auto validator = weakValidator.lock())
          validator->registerIdentifiers({identifier, vl_shortDescription(*found)});
        located->fulfillWithComment("got %@", vl_shortDescription(*found));
      });
  validator->waitForExpectations();
  if (!*url) return;

  // Straight to the default manager: this deletion is the validation's subject, not an
  // action the logging manager should judge.
  auto deleted = validator->expectationWithDescription("Deletion of item %@", folder->itemIdentifier());
  auto deletion = VLDeleteOperation::make({folder});
  deletion->setActionCompletionBlock(completionSettling(deleted));
  VLItemManager::defaultManager()->scheduleAction(deletion);
  validator->waitForExpectations();
  if (validator->expectationsHaveFailed()) return;

  auto gone = validator->expectationWithDescription("Looking up item %@ should fail", file->itemIdentifier());
  VLItemManager::defaultManager()->fetchItemForURL(**url, [gone](VLItemRef item, VLErrorRef) {
    if (item) {
      gone->fail();
    } else {
      gone->fulfill();
    }
  });
  validator->waitForExpectations();
}

void VLContainerValidation::validateHierarchy(const Validator& validator) {
  VLItemRef root = lookupItemWithIdentifier(provider()->alternateRootContainer(), validator);
  if (!root) return;
  auto parentless = validator->expectationWithDescription("Root item shouldn't have a parent, or it should be root");
  const std::string& rootParent = root->parentItemIdentifier();
  if (rootParent.empty() || rootParent == KsVaultlineRootContainerItemIdentifier) {
    parentless->fulfill();
  } else {
    parentless->failWithComment("Parent was %@", rootParent);
  }

  auto scanner = ValidationCollectionScanner::make();
  std::weak_ptr<ValidationCollectionScanner> weakScanner = scanner;
  std::weak_ptr<VLValidator> weakValidator = validator;
  auto checkParent = [weakValidator](const VLItemRef& container, const VLItemRef& item) {
    auto validator = weakValidator.lock();
    if (!validator) return;
    auto named = validator->expectationWithDescription(
        "Item %@ enumerated for container %@ should have that container as parent", item->itemIdentifier(),
        container ? container->itemIdentifier() : std::string());
    if (container && container->itemIdentifier() == item->parentItemIdentifier()) {
      named->fulfill();
    } else {
      named->failWithComment("Item's parent was %@", item->parentItemIdentifier());
    }
  };
  scanner->setLeafItemFound(checkParent);
  scanner->setContainerItemFound([checkParent, weakValidator, weakScanner](const VLItemRef& container,
                                                                           const VLItemRef& item) {
    checkParent(container, item);
    auto validator = weakValidator.lock();
    auto scanner = weakScanner.lock();
    if (!validator || !scanner) return;
    validator->expectationWithDescription("Queuing container %@ to be enumerated", item->itemIdentifier())->fulfill();
    scanner->addCollectionToScan(VLItemManager::defaultManager()->collectionForFolderItem(item), item);
  });
  auto enumerated = validator->expectationWithDescription("Expect items to be enumerated");
  scanner->setFinished([enumerated] { enumerated->fulfill(); });
  // The callbacks are in place before the root collection starts: a provider that
  // enumerates at once must not find the walk without them and leave it waiting.
  scanner->addCollectionToScan(VLItemManager::defaultManager()->collectionForFolderItem(root), root);
  validator->waitForExpectationsWithTimeout(20.0);
}
