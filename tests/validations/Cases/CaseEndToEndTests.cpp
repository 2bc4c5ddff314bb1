// A runner's whole road against the simulated provider: eligibility, listing, one run with a
// fresh validator, and nothing left behind in the provider afterwards.
#include <gtest/gtest.h>

#include "Simulated/Simulated.h"
#include "Validations/Validations.h"
#include "support/Await.h"

// Named, not anonymous: unity builds compile several test files as one.
namespace case_end_to_end_tests {

using Validator = std::shared_ptr<VLValidator>;

class CaseEndToEndSuite : public VLValidationCase {
 public:
  // Written on the case's thread, read by the test after the completion.
  std::string createdIdentifier;

  void validateFolderRoundTrip(const Validator& validator) {
    auto found = std::make_shared<VLItemRef>();
    auto lookup = validator->expectationWithDescription("Looking up the root of %@", provider());
    validator->itemManager()->fetchRootItemForProvider(provider(), [found, lookup](VLItemRef root, VLErrorRef error) {
      *found = root;
      root ? lookup->fulfill() : lookup->failWithError(error);
    });
    validator->waitForExpectations();
    VLItemRef root = *found;
    if (!root) return;

    auto stream = newCollectionStreamWithIdentifier(root->itemIdentifier());
    std::string name = validator->newFilenameForDirectory(true);
    auto made = std::make_shared<VLItemRef>();
    auto create = validator->expectationWithDescription("Create folder %@", name);
    auto action = VLCreateFolderOperation::make(root, name);
    action->setCreateFolderCompletionBlock([made, create](VLItemRef item, VLErrorRef error) {
      *made = item;
      error ? create->failWithError(error) : create->fulfill();
    });
    validator->itemManager()->scheduleAction(action);
    validator->waitForExpectations();
    VLItemRef folder = *made;
    if (!folder) return;
    registerItemToCleanup(folder);
    createdIdentifier = folder->itemIdentifier();

    auto appears = validator->expectationWithDescription("Folder %@ appears in the root", name);
    auto event = stream->checkForMatchingEventWithTimeout(
        validator->defaultTimeout(), nullptr,
        [name](const VLEventRef& event) { return event->item() && event->item()->filename() == name; });
    event ? appears->fulfill() : appears->failWithComment("never appeared");
  }
};

const bool kRegistered = [] {
  VLValidationCase::registerSuiteClass<CaseEndToEndSuite>(
      {{"validateFolderRoundTrip:", &CaseEndToEndSuite::validateFolderRoundTrip}});
  return true;
}();

TEST(CaseEndToEnd, ARunnerListsRunsAndCleansUpAgainstTheSimulatedProvider) {
  ASSERT_TRUE(kRegistered);
  auto service = VLSimulatedProviderService::make();
  service->install();
  auto provider = service->provider();

  EXPECT_TRUE(vl_await<bool>([&](auto reply) { determineValidationEligibility(provider, reply); }));
  EXPECT_EQ(provider->alternateRootContainer(), service->validationRootIdentifier());

  auto cases = VLValidationCase::allValidationsForProvider(provider);
  ASSERT_EQ(cases.at("CaseEndToEndSuite").size(), 1u);
  auto validationCase = std::dynamic_pointer_cast<CaseEndToEndSuite>(cases.at("CaseEndToEndSuite")[0]);
  ASSERT_TRUE(validationCase);
  EXPECT_EQ(validationCase->provider(), provider);

  auto validator = VLValidator::make();
  vl_await<bool>([&](auto reply) { validationCase->performWithValidator(validator, [reply] { reply(true); }); });
  EXPECT_EQ(validator->result(), VLValidationResultPassed) << validator->description();
  EXPECT_GT(validator->runtime(), 0.0);
  auto handled = validator->handledExpectations();
  ASSERT_GE(handled.size(), 4u);
  EXPECT_NE(validator->description().find("\tCreate folder ValidationFolder-"), std::string::npos);
  EXPECT_NE(validator->description().find("\tPerforming "), std::string::npos);
  ASSERT_FALSE(validationCase->createdIdentifier.empty());

  // Tear-down deleted the folder before the completion came (the root is still found the same way).
  auto fetch = [&](const std::string& identifier) {
    auto itemID = VLItemID::makeWithProviderIdentifier(
        provider->providerIdentifier(), provider->domain() ? provider->domain()->identifier : std::nullopt, identifier);
    return vl_await<VLItemRef>([&](auto reply) {
      VLItemManager::defaultManager()->fetchItemForItemID(itemID, [reply](VLItemRef item, VLErrorRef) { reply(item); });
    });
  };
  EXPECT_NE(fetch(KsVaultlineRootContainerItemIdentifier), nullptr);
  EXPECT_EQ(fetch(validationCase->createdIdentifier), nullptr);
}

}  // namespace case_end_to_end_tests
