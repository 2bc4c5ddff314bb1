#include "Validations/VLValidationLoggingItemManager.h"

#include "Core/VLDate.h"
#include "Core/VLException.h"
#include "Validations/VLValidationErrors.h"
#include "Validations/VLValidator.h"

std::shared_ptr<VLValidationLoggingItemManager> VLValidationLoggingItemManager::make() {
  return std::shared_ptr<VLValidationLoggingItemManager>(new VLValidationLoggingItemManager());
}

std::shared_ptr<VLValidator> VLValidationLoggingItemManager::validator() const {
  std::lock_guard lock(mutex_);
  return validator_.lock();
}

void VLValidationLoggingItemManager::setValidator(std::weak_ptr<VLValidator> validator) {
  std::lock_guard lock(mutex_);
  validator_ = std::move(validator);
}

std::string vl_prettyDescription(const std::shared_ptr<const VLActionOperation>& action) {
  return action ? action->description() : "(null)";
}

void VLValidationLoggingItemManager::scheduleAction(const std::shared_ptr<VLActionOperation>& action) {
  if (!action) throw VLException("VLValidationLoggingItemManager::scheduleAction: no action given");
  bool expectedToFail = action->expectedToFail();
  if (auto validator = this->validator()) {
    const std::string description = vl_prettyDescription(action);
    auto expectation = validator->expectationWithDescription("Performing %@", description);
    auto previous = action->actionCompletionBlock();
    std::function<void(VLErrorRef)> traceFinish;
    if (validator->isTracing()) traceFinish = traceAction(validator, description, expectedToFail);
    action->setActionCompletionBlock([expectation, expectedToFail, previous, traceFinish](VLErrorRef error) {
      if (traceFinish) traceFinish(error);
      if (!expectedToFail && error) {
        expectation->failWithError(error);
      } else if (expectedToFail && !error) {
        expectation->failWithComment("Operation was expected to fail, but it succeeded");
      } else {
        expectation->fulfill();
      }
      if (previous) previous(error);
    });
  }
  base()->scheduleAction(action);
}

std::function<void(VLErrorRef error)> VLValidationLoggingItemManager::traceAction(
    const std::shared_ptr<VLValidator>& validator, const std::string& description, bool expectedToFail) {
  const uint64_t id = validator->nextTraceID();
  validator->trace(VLTraceRecord(VLTraceKind::Action)
                       .set("phase", "scheduled")
                       .set("id", id)
                       .set("action", description)
                       .set("expectedToFail", expectedToFail));
  const double scheduled = VLDate::now().timeIntervalSinceReferenceDate();
  std::weak_ptr<VLValidator> weak = validator;
  return [weak, id, description, scheduled](VLErrorRef error) {
    auto validator = weak.lock();
    if (!validator) return;
    validator->trace(VLTraceRecord(VLTraceKind::Action)
                         .set("phase", "finished")
                         .set("id", id)
                         .set("action", description)
                         .set("outcome", error ? "failed" : "succeeded")
                         .set("error", error ? VLValue(vl_prettyDescription(error)) : VLValue())
                         .set("duration", VLDate::now().timeIntervalSinceReferenceDate() - scheduled));
  };
}

void VLValidationLoggingItemManager::fetchRootItemForProvider(const std::shared_ptr<VLProvider>& provider,
                                                              ItemCompletion completion) {
  base()->fetchRootItemForProvider(provider, std::move(completion));
}

void VLValidationLoggingItemManager::fetchURLForItem(const VLItemRef& item, URLCompletion completion) {
  base()->fetchURLForItem(item, std::move(completion));
}

void VLValidationLoggingItemManager::fetchURLForItem(const VLItemRef& item, bool creatingPlaceholderIfMissing,
                                                     URLCompletion completion) {
  base()->fetchURLForItem(item, creatingPlaceholderIfMissing, std::move(completion));
}

void VLValidationLoggingItemManager::fetchItemForItemID(const std::shared_ptr<const VLItemID>& itemID,
                                                        ItemCompletion completion) {
  base()->fetchItemForItemID(itemID, std::move(completion));
}

void VLValidationLoggingItemManager::fetchItemForURL(const VLURL& url, ItemCompletion completion) {
  base()->fetchItemForURL(url, std::move(completion));
}

std::shared_ptr<VLItemCollection> VLValidationLoggingItemManager::collectionForFolderItem(const VLItemRef& folder) {
  return base()->collectionForFolderItem(folder);
}

std::shared_ptr<VLItemCollection> VLValidationLoggingItemManager::newCollectionWithItemID(
    const std::shared_ptr<const VLItemID>& itemID) {
  return base()->newCollectionWithItemID(itemID);
}

std::shared_ptr<VLItemCollection> VLValidationLoggingItemManager::collectionWithIdentifier(
    const std::string& identifier, const std::optional<std::string>& domainIdentifier,
    const std::string& providerIdentifier, const std::vector<std::string>& fileTypes) {
  return base()->collectionWithIdentifier(identifier, domainIdentifier, providerIdentifier, fileTypes);
}

std::shared_ptr<VLItemCollection> VLValidationLoggingItemManager::newCollectionForProvider(
    const std::string& providerID) {
  return base()->newCollectionForProvider(providerID);
}

std::shared_ptr<VLThumbnailFetchOperation> VLValidationLoggingItemManager::thumbnailsFetchOperationForItems(
    const std::vector<VLItemRef>& items, VLSize size, double scale) {
  return base()->thumbnailsFetchOperationForItems(items, size, scale);
}
