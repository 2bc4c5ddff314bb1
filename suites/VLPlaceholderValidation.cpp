#include "VLPlaceholderValidation.h"

#include "Vaultline/VLFileManager.h"

namespace {

using Validator = VLPlaceholderValidation::Validator;

const size_t kFileSize = 512000;
const double kUploadTimeout = 60.0;

// Puts the validator's default time-out back when it leaves scope, whatever happened.
class DefaultTimeoutRestorer {
 public:
  DefaultTimeoutRestorer(const Validator& validator, double temporary)
      : validator_(validator), remembered_(validator->defaultTimeout()) {
    validator_->setDefaultTimeout(temporary);
  }
  ~DefaultTimeoutRestorer() { validator_->setDefaultTimeout(remembered_); }
  DefaultTimeoutRestorer(const DefaultTimeoutRestorer&) = delete;
  DefaultTimeoutRestorer& operator=(const DefaultTimeoutRestorer&) = delete;

 private:
  const Validator& validator_;
  const double remembered_;
};

}  // namespace

std::vector<VLValidationOperation> VLPlaceholderValidation::operations() {
  return {{"validatePlaceholderIsWritten:", &VLPlaceholderValidation::validatePlaceholderIsWritten}};
}

void VLPlaceholderValidation::validatePlaceholderIsWritten(const Validator& validator) {
  if (!provider()->isSyncingProvider()) {
    validator->markInconclusiveWithComment("Not applicable to non-syncing providers");
    return;
  }
  const std::string container = provider()->alternateRootContainer();
  auto cursor = VLEventCursor::make(validator, newCollectionStreamWithIdentifier(container));
  VLItemRef item = createTestFile(validator, container, VLData(std::vector<uint8_t>(kFileSize, 0)), std::string("dat"));
  if (!item) return;
  const std::string& identifier = item->itemIdentifier();

  {
    DefaultTimeoutRestorer uploadWait(validator, kUploadTimeout);
    cursor->advance(VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& expected) {
      expected.setItemIdentifier(identifier);
      expected.setUploaded(true);
    }));
  }
  if (validator->expectationsHaveFailed()) {
    validator->markInconclusiveWithComment("Item %@ did not get uploaded in time", identifier);
    return;
  }

  evict(validator, item);
  validator->waitForExpectations();
  if (validator->expectationsHaveFailed()) return;
  if (!validator->strict()) {
    validator->markInconclusiveWithComment(
        "Not checking for file eviction on %@ since we aren't running in strict mode", identifier);
    return;
  }

  cursor->advance(VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& expected) {
    expected.setItemIdentifier(identifier);
    expected.setDownloaded(false);
  }));
  if (validator->expectationsHaveFailed()) {
    // The text ends mid-word on purpose: runners match it as it stands.
    validator->markInconclusiveWithComment("Item %@ did not get evicted after call to validation_evictDocumentWith",
                                           identifier);
    return;
  }
  expectPlaceholder(validator, item);
}

void VLPlaceholderValidation::evict(const Validator& validator, const VLItemRef& item) {
  auto evicted =
      validator->expectationWithDescription("eviction on item %@ should finish without error", item->itemIdentifier());
  auto settle = completionSettling(evicted);
  fetchValidationHelperForItem(item, [evicted, settle](std::shared_ptr<VLRemoteObjectProxy> proxy, VLErrorRef error) {
    if (error || !proxy) return evicted->failWithError(error);
    proxy->validation_evictDocumentWithCompletionHandler(settle);
  });
}

void VLPlaceholderValidation::expectPlaceholder(const Validator& validator, const VLItemRef& item) {
  const std::string identifier = item->itemIdentifier();
  auto placeholder = validator->expectationWithDescription(
      "after item removal, we should be able to get a placeholder for item %@", identifier);
  std::weak_ptr<VLValidator> weakValidator = validator;
  VLItemManager::defaultManager()->fetchURLForItem(
      item, true, [placeholder, weakValidator, identifier](const std::optional<VLURL>& url, VLErrorRef error) {
        if (!url) return placeholder->failWithError(error);
        auto& files = VLFileManager::defaultManager();
        const bool accessing = files.startAccessingSecurityScopedResource(*url);
        VLErrorRef unreachable;
        if (files.checkResourceIsReachable(*url, &unreachable)) {
          // The content is still there. Security-scoped access deliberately stays open here.
          placeholder->failWithError(unreachable);
          if (auto validator = weakValidator.lock()) {
            validator->markInconclusiveWithComment(
                "Evicted item %@ still appears present on disk even though its state was !downloaded", identifier);
          }
          return;
        }
        VLErrorRef unpromised;
        if (files.checkPromisedItemIsReachable(*url, &unpromised)) {
          placeholder->fulfill();
        } else {
          placeholder->failWithError(unpromised);
        }
        if (accessing) files.stopAccessingSecurityScopedResource(*url);
      });
}
