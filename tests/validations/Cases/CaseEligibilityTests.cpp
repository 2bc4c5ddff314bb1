// Reaching a provider's validation service, and deciding eligibility from its answer.
#include <gtest/gtest.h>

#include "Validations/Validations.h"
#include "support/ActionRecordingPlatform.h"
#include "support/CaseTestLogCapture.h"
#include "support/CaseTestPlatform.h"

namespace {

std::shared_ptr<VLProvider> makeProvider() { return VLProvider::make("p", "com.example.p", std::nullopt, "p-id"); }

VLErrorRef testError(const std::string& text) { return VLError::makeWithDescription("test", 7, text); }

bool decideEligibility(const std::shared_ptr<VLProvider>& provider) {
  auto done = VLSemaphore::make(0);
  auto answer = std::make_shared<bool>(false);
  determineValidationEligibility(provider, [done, answer](bool eligible) {
    *answer = eligible;
    done->signal();
  });
  EXPECT_TRUE(done->wait(10));
  return *answer;
}

std::shared_ptr<VLRemoteObjectProxy> reachProxy(const std::shared_ptr<VLProvider>& provider) {
  auto done = VLSemaphore::make(0);
  auto found = std::make_shared<std::shared_ptr<VLRemoteObjectProxy>>();
  performWithValidationProxy(provider, [done, found](std::shared_ptr<VLRemoteObjectProxy> proxy) {
    *found = std::move(proxy);
    done->signal();
  });
  EXPECT_TRUE(done->wait(10));
  return *found;
}

void expectUntouched(const VLProvider& provider) {
  EXPECT_EQ(provider.alternateRootContainer(), KsVaultlineRootContainerItemIdentifier);
  EXPECT_TRUE(provider.isSyncingProvider());
  EXPECT_TRUE(provider.hasNoWorkingSet());
  EXPECT_FALSE(provider.isEligibleForValidation());
}

TEST(CaseEligibility, AnAllowingProviderIsEligibleAndItsOptionsApply) {
  auto platform = CaseTestPlatform::install();
  platform->setService({.options = {{KsVaultlineValidationOptionAlternateRootContainer, "folder-7"},
                                    {KsVaultlineValidationOptionIsSyncingProvider, false},
                                    {VLValidationOptionHasNoWorkingSet, 0}}});
  auto provider = makeProvider();
  EXPECT_TRUE(decideEligibility(provider));
  EXPECT_EQ(provider->alternateRootContainer(), "folder-7");
  EXPECT_FALSE(provider->isSyncingProvider());
  EXPECT_FALSE(provider->hasNoWorkingSet());
}

TEST(CaseEligibility, ARefusingProviderStillAppliesItsOptions) {
  auto platform = CaseTestPlatform::install();
  platform->setService({.allowed = false, .options = {{VLValidationOptionHasNoWorkingSet, false}}});
  auto provider = makeProvider();
  EXPECT_FALSE(decideEligibility(provider));
  EXPECT_FALSE(provider->isEligibleForValidation());
  EXPECT_FALSE(provider->hasNoWorkingSet());
  EXPECT_TRUE(provider->isSyncingProvider());  // absent options leave their property alone
  EXPECT_EQ(provider->alternateRootContainer(), KsVaultlineRootContainerItemIdentifier);

  // On an internal build every provider that answers is eligible, even when it refuses.
  platform->setInternalBuild(true);
  EXPECT_TRUE(decideEligibility(provider));
  EXPECT_TRUE(provider->isEligibleForValidation());
}

TEST(CaseEligibility, AProviderWithoutTheServiceIsEligibleOnlyOnInternalBuilds) {
  auto platform = CaseTestPlatform::install();
  platform->setService({.present = false});
  auto provider = makeProvider();
  {
    CaseTestLogCapture log;
    EXPECT_FALSE(decideEligibility(provider));
    EXPECT_EQ(log.lines(), std::vector<std::string>{"[ERROR] didn't find validation service " +
                                                    KsVaultlineValidationServiceV1Name + " for <VLProvider p>"});
  }
  platform->setInternalBuild(true);
  EXPECT_TRUE(decideEligibility(provider));
  expectUntouched(*provider);
}

TEST(CaseEligibility, AConnectionThatFailsDuringTheQuestionAnswersWithTheBuildKind) {
  auto platform = CaseTestPlatform::install();
  platform->setService({.connectionFails = true, .options = {{VLValidationOptionHasNoWorkingSet, false}}});
  auto provider = makeProvider();
  EXPECT_FALSE(decideEligibility(provider));
  platform->setInternalBuild(true);
  EXPECT_TRUE(decideEligibility(provider));
  expectUntouched(*provider);
}

TEST(CaseValidationProxy, EachFailingStepLogsItsOwnLineAndGivesNoProxy) {
  struct Step {
    std::function<void(CaseTestPlatform&)> breakIt;
    std::string line;
  };
  const std::vector<Step> steps = {
      {[](CaseTestPlatform& p) { p.setRootError(testError("no root")); },
       "[ERROR] failed to get root item for provider <VLProvider p>, no root"},
      {[](CaseTestPlatform& p) { p.setURLError(testError("no url")); },
       "[ERROR] failed to get root url for provider <VLProvider p>, no url"},
      {[](CaseTestPlatform& p) { p.setServicesError(testError("no services")); },
       "[ERROR] failed to get services for provider <VLProvider p>, no services"},
  };
  for (const auto& step : steps) {
    auto platform = CaseTestPlatform::install();
    step.breakIt(*platform);
    CaseTestLogCapture log;
    EXPECT_EQ(reachProxy(makeProvider()), nullptr);
    EXPECT_EQ(log.lines(), std::vector<std::string>{step.line});
  }

  // A refused connection gives no proxy and no line.
  auto platform = CaseTestPlatform::install();
  platform->setService({.connectionError = testError("refused")});
  CaseTestLogCapture log;
  EXPECT_EQ(reachProxy(makeProvider()), nullptr);
  EXPECT_TRUE(log.lines().empty());
}

// ---- From an item, for a running case -----------------------------------------------------

class CaseServiceSuite : public VLValidationCase {
 public:
  void validateNothing(const std::shared_ptr<VLValidator>&) {}
};

struct HelperAnswer {
  std::shared_ptr<VLRemoteObjectProxy> proxy;
  VLErrorRef error;
};

HelperAnswer fetchHelper() {
  auto suiteClass = VLValidationCase::describeSuiteClass<CaseServiceSuite>(
      {{"validateNothing:", &CaseServiceSuite::validateNothing}});
  auto validationCase = VLValidationCase::makeWithSuiteClass(suiteClass, "validateNothing:", makeProvider(), std::nullopt);
  auto done = VLSemaphore::make(0);
  auto answer = std::make_shared<HelperAnswer>();
  validationCase->fetchValidationHelperForItem(makeTestFileItem("a.txt", "a-1"),
                                               [done, answer](std::shared_ptr<VLRemoteObjectProxy> proxy, VLErrorRef error) {
                                                 *answer = {std::move(proxy), std::move(error)};
                                                 done->signal();
                                               });
  EXPECT_TRUE(done->wait(10));
  return *answer;
}

TEST(CaseValidationHelper, PassesFailuresOnWithoutLogging) {
  auto platform = CaseTestPlatform::install();
  CaseTestLogCapture log;
  auto found = fetchHelper();
  EXPECT_NE(found.proxy, nullptr);
  EXPECT_EQ(found.error, nullptr);

  platform->setService({.present = false});
  auto missing = fetchHelper();
  EXPECT_EQ(missing.proxy, nullptr);
  ASSERT_NE(missing.error, nullptr);
  EXPECT_EQ(missing.error->domain(), KsTarragonErrorDomain);
  EXPECT_EQ(missing.error->code(), 3328);
  EXPECT_TRUE(missing.error->userInfo().empty());

  platform->setURLError(testError("no url"));
  auto noURL = fetchHelper();
  EXPECT_EQ(noURL.proxy, nullptr);
  ASSERT_NE(noURL.error, nullptr);
  EXPECT_EQ(noURL.error->localizedDescription(), "no url");
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
