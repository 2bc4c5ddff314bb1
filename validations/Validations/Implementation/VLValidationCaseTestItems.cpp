// The test item utilities every suite uses: look up a container, and put a fresh file or
// folder into it through the provider, seeing it arrive in the container's stream.
#include <mutex>

#include "Core/VLException.h"
#include "Validations/VLEventCursor.h"
#include "Validations/VLEventStream.h"
#include "Validations/VLExpectedEvent.h"
#include "Validations/VLItemDescription.h"
#include "Validations/VLValidationCase.h"
#include "Validations/VLValidationLoggingItemManager.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLCopyOperation.h"
#include "Vaultline/VLCreateFolderOperation.h"
#include "Vaultline/VLFileManager.h"

namespace {

const char* const kFolderType = "public.folder";

void requireValidator(const std::shared_ptr<VLValidator>& validator, const char* operation) {
  if (!validator) throw VLException(std::string(operation) + ": no validator given");
}

}  // namespace

std::function<void(VLErrorRef)> VLValidationCase::completionSettling(std::shared_ptr<VLExpectation> expectation) {
  if (!expectation) throw VLException("completionSettling: no expectation given");
  return [expectation](VLErrorRef error) {
    if (error) {
      expectation->failWithError(error);
    } else {
      expectation->fulfill();
    }
  };
}

VLItemRef VLValidationCase::lookupItemWithIdentifier(const std::string& identifier,
                                                     const std::shared_ptr<VLValidator>& validator) {
  requireValidator(validator, "lookupItemWithIdentifier");
  auto lookup = validator->expectationWithDescription("Looking up container %@", identifier);
  // Shared by the completion (a service thread) and this thread. A completion that comes
  // after the wait (the lookup is closed, or its expectation already timed out) settles only
  // its expectation: the item it brings is never used.
  struct Found {
    std::mutex mutex;
    bool closed = false;  // guarded by mutex
    VLItemRef item;       // guarded by mutex
  };
  auto found = std::make_shared<Found>();
  validator->itemManager()->fetchItem(identifier, provider(), [found, lookup](VLItemRef item, VLErrorRef error) {
    if (item && !error) {
      {
        std::lock_guard lock(found->mutex);
        if (!found->closed && lookup->result() == VLValidationResultInconclusive) found->item = item;
      }
      lookup->fulfillWithComment("Found %@", vl_prettyDescription(item));
    } else {
      lookup->failWithError(error);
    }
  });
  validator->waitForExpectations();
  VLItemRef item;
  {
    std::lock_guard lock(found->mutex);
    found->closed = true;
    item = found->item;
  }
  if (item) validator->registerIdentifiers({item->displayName(), item->itemIdentifier()});
  return item;
}

std::string VLValidationCase::newFilenameForDirectory(bool isDirectory) {
  auto validator = this->validator();
  if (!validator) throw VLException("newFilenameForDirectory needs a running case (no validator is set)");
  std::string name = validator->newFilenameForDirectory(isDirectory);
  validator->registerIdentifiers({name});
  return name;
}

VLItemRef VLValidationCase::createTestFile(const std::shared_ptr<VLValidator>& validator, const std::string& container,
                                           const std::optional<VLData>& contents,
                                           const std::optional<std::string>& extension) {
  requireValidator(validator, "createTestFile");
  std::string name = newFilenameForDirectory(false);
  // An empty extension still gets its dot: a provider must keep a name that ends in ".".
  if (extension) name += "." + *extension;
  auto& files = VLFileManager::defaultManager();
  VLURL target = files.temporaryDirectory().URLByAppendingPathComponent(name, false);
  // A failed write is not checked here: the import that follows fails and says why.
  files.writeData(contents.value_or(VLData::fromString("Hello")), target, false);
  return importTestItem(validator, container, target);
}

VLItemRef VLValidationCase::createTestItem(const std::shared_ptr<VLValidator>& validator, const std::string& container,
                                           bool isDirectory) {
  requireValidator(validator, "createTestItem");
  if (!isDirectory) return createTestFile(validator, container, std::nullopt, std::nullopt);
  std::string name = newFilenameForDirectory(true);
  auto& files = VLFileManager::defaultManager();
  VLURL target = files.temporaryDirectory().URLByAppendingPathComponent(name, true);
  files.createDirectoryAtURL(target, true);
  return importTestItem(validator, container, target);
}

VLItemRef VLValidationCase::importTestItem(const std::shared_ptr<VLValidator>& validator, const std::string& container,
                                           const VLURL& url) {
  requireValidator(validator, "importTestItem");
  // Watching starts before anything is looked up or created, so the item's arrival is seen.
  auto cursor = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
  VLItemRef containerItem = lookupItemWithIdentifier(container, validator);
  const bool isFolder = url.hasDirectoryPath();
  const std::string name = url.lastPathComponent();
  if (!containerItem || validator->expectationsHaveFailed()) return nullptr;
  if ((containerItem->capabilities() & VLItemCapabilityAllowsAddingSubItems) == 0) {
    validator->failWithComment("Container %@ doesn't allow creating subitems", containerItem->itemIdentifier());
    return nullptr;
  }

  auto manager = validator->itemManager();
  if (isFolder) {
    auto create = validator->expectationWithDescription("Create folder %@ in container %@", name, container);
    auto action = VLCreateFolderOperation::make(containerItem, name);
    action->setCreateFolderCompletionBlock([create](VLItemRef item, VLErrorRef error) {
      if (error) {
        create->failWithError(error);
      } else {
        create->fulfillWithComment("Created %@", vl_prettyDescription(item));
      }
    });
    manager->scheduleAction(action);
  } else {
    auto copy = validator->expectationWithDescription("Copy file %@ to container %@", name, container);
    auto action = VLCopyOperation::makeWithCompatiblityURLs({url}, containerItem);
    // Weak: the action owns its completion block.
    std::weak_ptr<VLCopyOperation> weakAction = action;
    action->setActionCompletionBlock([copy, weakAction, url](VLErrorRef error) {
      if (error) return copy->failWithError(error);
      auto action = weakAction.lock();
      if (!action) return copy->failWithComment("Import returned no overall error but no item either");
      auto results = action->transferResults();
      auto errors = action->errorsByItem();
      if (auto created = results.find(url); created != results.end() && created->second) {
        copy->fulfillWithComment("Copied to %@", vl_prettyDescription(created->second));
      } else if (auto failed = errors.find(url); failed != errors.end() && failed->second) {
        copy->failWithError(failed->second);
      } else {
        copy->failWithComment("Import returned no overall error but no item either");
      }
    });
    manager->scheduleAction(action);
  }
  validator->waitForExpectations();
  if (validator->expectationsHaveFailed()) return nullptr;

  auto expected = VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
    item.setFilename(name);
    item.setParentItemIdentifier(container);
    item.setPending(false);
    if (isFolder) item.setTypeIdentifier(std::string(kFolderType));
  });
  VLEventRef event = cursor->advance(expected);
  VLItemRef item = event ? event->item() : nullptr;
  registerItemToCleanup(item);
  return item;
}
