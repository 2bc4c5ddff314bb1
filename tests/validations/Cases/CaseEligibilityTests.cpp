// Reaching a provider's validation service, and deciding eligibility from its answer.
#include <gtest/gtest.h>

#include "Validations/Validations.h"
#include "support/Await.h"
#include "support/BrokenServiceRoad.h"
#include "support/CaseTestLogCapture.h"
#include "support/TestItems.h"

namespace {

std::shared_ptr<VLSimulatedProviderService> install(const std::string& settings) {
  auto service = VLSimulatedProviderService::make(settings);
  service->install();
  return service;
}

bool decideEligibility(const std::shared_ptr<VLProvider>& provider) {
  return vl_await<bool>([&](auto reply) { determineValidationEligibility(provider, reply); });
}

std::shared_ptr<VLRemoteObjectProxy> reachProxy(const std::shared_ptr<VLProvider>& provider) {
  return vl_await<std::shared_ptr<VLRemoteObjectProxy>>(
      [&](auto reply) { performWithValidationProxy(provider, reply); });
}

void expectUntouched(const VLProvider& provider) {
  EXPECT_EQ(provider.alternateRootContainer(), KsVaultlineRootContainerItemIdentifier);
  EXPECT_TRUE(provider.isSyncingProvider());
  EXPECT_TRUE(provider.hasNoWorkingSet());
  EXPECT_FALSE(provider.isEligibleForValidation());
}

// The options a provider answers with apply whether it allows validation or refuses it; on an
// internal build every provider that answers is eligible, even when it refuses, and without an
// answer nothing changes.
TEST(CaseEligibility, TheAnswerDecidesAndItsOptionsApply) {
  struct Row {
    const char* settings;
    bool decided, eligible, alternateRoot, syncing, noWorkingSet;
  };
  const Row rows[] = {
      {"alternate-root=Validation,syncing=no", true, true, true, false, false},
      {"validation-service=refuse,syncing=no", false, false, false, false, false},
      {"validation-service=refuse,internal-build=yes", true, true, false, true, false},
      {"validation-service=absent,internal-build=yes", true, false, false, true, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.settings);
    auto service = install(row.settings);
    auto provider = service->provider();
    EXPECT_EQ(decideEligibility(provider), row.decided);
    EXPECT_EQ(provider->isEligibleForValidation(), row.eligible);
    // Without an alternate root offered the property keeps its value.
    EXPECT_EQ(provider->alternateRootContainer(),
              row.alternateRoot ? service->validationRootIdentifier() : KsVaultlineRootContainerItemIdentifier);
    if (row.alternateRoot) {
      EXPECT_NE(provider->alternateRootContainer(), KsVaultlineRootContainerItemIdentifier);
    }
    EXPECT_EQ(provider->isSyncingProvider(), row.syncing);
    EXPECT_EQ(provider->hasNoWorkingSet(), row.noWorkingSet);
  }
}

TEST(CaseEligibility, WithoutAnAnswerOnlyInternalBuildsAreEligible) {
  auto provider = install("validation-service=absent")->provider();
  {
    CaseTestLogCapture log;
    EXPECT_FALSE(decideEligibility(provider));
    EXPECT_EQ(log.lines(),
              std::vector<std::string>{"[ERROR] didn't find validation service " + KsVaultlineValidationServiceV1Name +
                                       " for <VLProvider net.vaultline.simulated>"});
  }

  // A connection that fails while the question is asked answers with the build kind, once.
  for (const std::string build : {"no", "yes"}) {
    auto service = VLSimulatedProviderService::make("working-set=yes,internal-build=" + build);
    vl_installWithBrokenStep(service, VLBrokenStep::FailingConnection);
    EXPECT_EQ(decideEligibility(service->provider()), build == "yes");
    expectUntouched(*service->provider());
  }
}

TEST(CaseValidationProxy, EachFailingStepLogsItsOwnLineAndGivesNoProxy) {
  {
    install("");
    CaseTestLogCapture log;
    EXPECT_EQ(reachProxy(VLProvider::make("p", "com.example.p", std::nullopt, "p-id")), nullptr);
    EXPECT_EQ(log.lines(), std::vector<std::string>{"[ERROR] failed to get root item for provider <VLProvider p>, "
                                                    "The item root of provider <VLProvider p> doesn't exist."});
  }
  const std::vector<std::pair<VLBrokenStep, std::string>> steps = {
      {VLBrokenStep::RootURL,
       "[ERROR] failed to get root url for provider <VLProvider net.vaultline.simulated>, broken"},
      {VLBrokenStep::Services,
       "[ERROR] failed to get services for provider <VLProvider net.vaultline.simulated>, broken"},
      {VLBrokenStep::RefusedConnection, ""},  // a refused connection writes no line
  };
  for (const auto& [step, line] : steps) {
    auto service = VLSimulatedProviderService::make();
    vl_installWithBrokenStep(service, step);
    CaseTestLogCapture log;
    EXPECT_EQ(reachProxy(service->provider()), nullptr);
    EXPECT_EQ(log.lines(), line.empty() ? std::vector<std::string>{} : std::vector<std::string>{line});
  }
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

HelperAnswer fetchHelper(const std::string& identifier) {
  auto suiteClass = VLValidationCase::describeSuiteClass<CaseServiceSuite>(
      {{"validateNothing:", &CaseServiceSuite::validateNothing}});
  auto validationCase = VLValidationCase::makeWithSuiteClass(suiteClass, "validateNothing:", nullptr, std::nullopt);
  return vl_await<HelperAnswer>([&](auto reply) {
    validationCase->fetchValidationHelperForItem(vl_testItem(identifier, "item"),
                                                 [reply](auto proxy, VLErrorRef error) {
                                                   reply({proxy, error});
                                                 });
  });
}

TEST(CaseValidationHelper, PassesFailuresOnWithoutLogging) {
  CaseTestLogCapture log;
  install("");
  auto found = fetchHelper(KsVaultlineRootContainerItemIdentifier);
  EXPECT_NE(found.proxy, nullptr);
  EXPECT_EQ(found.error, nullptr);

  auto noURL = fetchHelper("unknown-item");
  EXPECT_EQ(noURL.proxy, nullptr);
  ASSERT_NE(noURL.error, nullptr);
  EXPECT_EQ(noURL.error->code(), VLVaultlineErrorNoSuchItem);

  install("validation-service=absent");
  auto missing = fetchHelper(KsVaultlineRootContainerItemIdentifier);
  EXPECT_EQ(missing.proxy, nullptr);
  ASSERT_NE(missing.error, nullptr);
  EXPECT_EQ(missing.error->domain(), KsTarragonErrorDomain);
  EXPECT_EQ(missing.error->code(), 3328);
  EXPECT_TRUE(missing.error->userInfo().empty());
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
