// Observing containers as event streams: how collections are made, started and stopped,
// what the streams are called, and which identifiers get marks.
#include <gtest/gtest.h>

#include "Simulated/Simulated.h"
#include "Simulated/VLSimulatedCollection.h"
#include "Validations/Validations.h"
#include "support/Await.h"

// Named, not anonymous: unity builds compile several test files as one.
namespace case_collections_tests {

using Validator = std::shared_ptr<VLValidator>;
using Scope = VLSimulatedCollection::ScopeKind;

class CaseObservingSuite : public VLValidationCase {
 public:
  // Written on the case's thread, read by the test after the completion.
  std::vector<std::shared_ptr<VLEventStream>> streams;
  std::vector<std::shared_ptr<VLItemCollection>> observed;

  void validateObserving(const Validator& validator) {
    streams.push_back(newCollectionStreamWithIdentifier(KsVaultlineRootContainerItemIdentifier));
    streams.push_back(newRootCollectionStream(validator));
    streams.push_back(createWorkingSetCollectionStream());
    observed = collections();
  }
};

const bool kRegistered = [] {
  VLValidationCase::registerSuiteClass<CaseObservingSuite>(
      {{"validateObserving:", &CaseObservingSuite::validateObserving}});
  return true;
}();

struct Observed {
  std::shared_ptr<CaseObservingSuite> validationCase;
  Validator validator;
  std::vector<std::string> streamNames;
  std::vector<std::pair<Scope, std::string>> scopes;
};

Validator run(const std::shared_ptr<VLValidationCase>& validationCase) {
  auto validator = VLValidator::make();
  vl_await<bool>([&](auto reply) { validationCase->performWithValidator(validator, [reply] { reply(true); }); });
  return validator;
}

Observed observe(const std::shared_ptr<VLProvider>& provider) {
  auto validationCase = VLValidationCase::make<CaseObservingSuite>("validateObserving:", provider);
  auto validator = run(validationCase);
  Observed observed{validationCase, validator, {}, {}};
  for (const auto& stream : validationCase->streams) observed.streamNames.push_back(stream->streamDescription());
  for (const auto& collection : validationCase->observed) {
    auto simulated = std::dynamic_pointer_cast<VLSimulatedCollection>(collection);
    observed.scopes.emplace_back(simulated->scope().kind, simulated->scope().identifier);
    // Tear-down stopped it.
    EXPECT_FALSE(simulated->isObserving());
    EXPECT_EQ(collection->workingQueue()->label(), "collection-queue");
  }
  EXPECT_TRUE(validationCase->collections().empty());
  EXPECT_EQ(validationCase->delegates().size(), 3u);
  return observed;
}

std::shared_ptr<VLSimulatedProviderService> eligibleService(const std::string& settings) {
  auto service = VLSimulatedProviderService::make("alternate-root=Validation," + settings);
  service->install();
  vl_await<bool>([&](auto reply) { determineValidationEligibility(service->provider(), reply); });
  return service;
}

TEST(CaseCollections, ObserveThroughItemIDsAndStopAtTearDown) {
  ASSERT_TRUE(kRegistered);
  auto service = eligibleService("working-set=no");
  auto observed = observe(service->provider());
  EXPECT_EQ(observed.validator->result(), VLValidationResultPassed) << observed.validator->description();
  const std::string validationRoot = service->validationRootIdentifier();
  // Without a working set the provider's whole index stands in.
  EXPECT_EQ(observed.scopes,
            (std::vector<std::pair<Scope, std::string>>{{Scope::Container, KsVaultlineRootContainerItemIdentifier},
                                                        {Scope::Container, validationRoot},
                                                        {Scope::Provider, ""}}));
  EXPECT_EQ(observed.streamNames, (std::vector<std::string>{"events for " + KsVaultlineRootContainerItemIdentifier,
                                                            "root collection events", "glimmer events"}));
  auto marks = observed.validator->markedIdentifiers();
  EXPECT_EQ(marks.at("glimmer"), marks.at(KsVaultlineWorkingSetContainerItemIdentifier));
  EXPECT_NE(marks.at(KsVaultlineRootContainerItemIdentifier), marks.at(validationRoot));

  // The root and the whole index both hold the validation folder from their first reload.
  for (size_t i : {0u, 2u}) {
    auto reload =
        observed.validationCase->streams[i]->checkForMatchingEventWithTimeout(5, nullptr, [&](const VLEventRef& event) {
          return event->type() == VLEventReload && event->item() && event->item()->itemIdentifier() == validationRoot;
        });
    EXPECT_NE(reload, nullptr) << observed.streamNames[i];
  }
}

TEST(CaseCollections, OlderRevisionsUseThreePartCollectionsAndTheWorkingSet) {
  // The older revision has no newCollectionWithItemID: calling it would fail the case.
  auto service = eligibleService("platform-revision=older");
  auto observed = observe(service->provider());
  EXPECT_EQ(observed.validator->result(), VLValidationResultPassed) << observed.validator->description();
  EXPECT_EQ(observed.scopes, (std::vector<std::pair<Scope, std::string>>{
                                 {Scope::Container, KsVaultlineRootContainerItemIdentifier},
                                 {Scope::Container, service->validationRootIdentifier()},
                                 {Scope::WorkingSet, KsVaultlineWorkingSetContainerItemIdentifier}}));
  EXPECT_EQ(observed.streamNames.at(2), "working set events");
  auto marks = observed.validator->markedIdentifiers();
  EXPECT_EQ(marks.at("working set"), marks.at(KsVaultlineWorkingSetContainerItemIdentifier));
}

TEST(CaseCollections, StreamsNeedARunningCaseBoundToAProvider) {
  VLSimulatedProviderService::make()->install();
  auto unbound = VLValidationCase::make<CaseObservingSuite>("validateObserving:", nullptr);
  EXPECT_THROW(unbound->newCollectionStreamWithIdentifier("x"), VLException);
  // Inside a run the same mistake becomes a failed expectation, not a crash.
  auto validator = run(unbound);
  EXPECT_EQ(validator->result(), VLValidationResultFailed);
  EXPECT_EQ(validator->handledExpectations().at(0)->description(),
            "Validation encountered an exception: newCollectionStreamWithIdentifier needs a case bound to a provider");
}

}  // namespace case_collections_tests
