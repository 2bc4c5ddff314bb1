// Observing containers as event streams: how collections are made, started and stopped,
// what the streams are called, and which identifiers get marks.
#include <gtest/gtest.h>

#include "Validations/Validations.h"
#include "support/CaseTestPlatform.h"

namespace {

using Validator = std::shared_ptr<VLValidator>;

class CaseObservingSuite : public VLValidationCase {
 public:
  // Written on the case's thread, read by the test after the completion.
  std::vector<std::shared_ptr<VLEventStream>> streams;

  void validateObserving(const Validator& validator) {
    streams.push_back(newCollectionStreamWithIdentifier("container-1"));
    streams.push_back(newRootCollectionStream(validator));
    streams.push_back(createWorkingSetCollectionStream());
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
};

Observed observe(const std::shared_ptr<VLProvider>& provider) {
  auto validationCase = VLValidationCase::make<CaseObservingSuite>("validateObserving:", provider);
  auto validator = VLValidator::make();
  auto done = VLSemaphore::make(0);
  validationCase->performWithValidator(validator, [done] { done->signal(); });
  EXPECT_TRUE(done->wait(30));
  return {validationCase, validator};
}

std::shared_ptr<VLProvider> makeProvider(std::optional<std::string> domain) {
  return VLProvider::make("p", "com.example.p", VLProvider::Domain{domain, "Domain"}, "p-id");
}

std::vector<std::string> streamDescriptions(const Observed& observed) {
  std::vector<std::string> names;
  for (const auto& stream : observed.validationCase->streams) names.push_back(stream->streamDescription());
  return names;
}

TEST(CaseCollections, ObservesThroughItemIDsAndStopsEveryCollectionAtTearDown) {
  ASSERT_TRUE(kRegistered);
  auto platform = CaseTestPlatform::install();
  auto provider = makeProvider("domain-9");
  provider->setAlternateRootContainer("validation-root");
  auto observed = observe(provider);
  EXPECT_EQ(observed.validator->result(), VLValidationResultPassed);

  auto collections = platform->collections();
  ASSERT_EQ(collections.size(), 3u);
  EXPECT_EQ(collections[0]->origin, "itemID");
  EXPECT_EQ(collections[0]->itemID->providerPart(), "com.example.p");
  EXPECT_EQ(collections[0]->itemID->domainIdentifier(), "domain-9");
  EXPECT_EQ(collections[0]->itemID->itemIdentifier(), "container-1");
  EXPECT_EQ(collections[1]->itemID->itemIdentifier(), "validation-root");
  // An unknown provider is treated as having no working set: the search index stands in.
  EXPECT_EQ(collections[2]->origin, "provider");
  EXPECT_EQ(collections[2]->parts, std::vector<std::string>{"p-id"});
  for (const auto& collection : collections) {
    EXPECT_EQ(collection->starts(), 1);
    EXPECT_EQ(collection->stops(), 1);
    EXPECT_TRUE(collection->observedOnWorkingQueue());
    EXPECT_EQ(collection->workingQueue()->label(), "collection-queue");
  }
  EXPECT_EQ(collections[0]->sortDescriptors(), std::vector<VLSortDescriptor>{vl_sortDescriptorByModifiedDateDescending()});

  EXPECT_TRUE(observed.validationCase->collections().empty());
  EXPECT_EQ(observed.validationCase->delegates().size(), 3u);
  EXPECT_EQ(streamDescriptions(observed),
            (std::vector<std::string>{"events for container-1", "root collection events", "glimmer events"}));
  auto marks = observed.validator->markedIdentifiers();
  EXPECT_EQ(marks.at("glimmer"), marks.at(KsVaultlineWorkingSetContainerItemIdentifier));
  EXPECT_NE(marks.at("container-1"), marks.at("validation-root"));

  // Each stream carries what its collection delivered when observation started.
  for (const auto& stream : observed.validationCase->streams) {
    auto reload = stream->checkForMatchingEventWithTimeout(5, nullptr, [](const VLEventRef& event) {
      return event->type() == VLEventReload && event->item() && event->item()->itemIdentifier() == "existing-1";
    });
    EXPECT_NE(reload, nullptr) << stream->streamDescription();
  }
}

TEST(CaseCollections, OlderRevisionsUseThreePartCollectionsSortedOnTheirQueue) {
  auto platform = CaseTestPlatform::install();
  platform->setOffers(VLPlatformCapability::NewCollectionWithItemID, false);
  platform->setOffers(VLPlatformCapability::ItemIDWithProviderIdentifier, false);
  auto provider = makeProvider(std::nullopt);
  provider->setHasNoWorkingSet(false);
  auto observed = observe(provider);

  auto collections = platform->collections();
  ASSERT_EQ(collections.size(), 3u);
  EXPECT_EQ(collections[0]->origin, "identifier");
  // The older item ID names the provider by its ID; a missing domain is the default domain.
  EXPECT_EQ(collections[0]->parts,
            (std::vector<std::string>{"container-1", KsVaultlineDomainDefaultIdentifier, "p-id"}));
  EXPECT_TRUE(collections[0]->sortedOnWorkingQueue());
  EXPECT_EQ(collections[1]->parts[0], KsVaultlineRootContainerItemIdentifier);
  EXPECT_EQ(collections[2]->parts[0], KsVaultlineWorkingSetContainerItemIdentifier);

  EXPECT_EQ(streamDescriptions(observed),
            (std::vector<std::string>{"events for container-1", "root collection events", "working set events"}));
  auto marks = observed.validator->markedIdentifiers();
  EXPECT_EQ(marks.at("working set"), marks.at(KsVaultlineWorkingSetContainerItemIdentifier));
}

TEST(CaseCollections, StreamsNeedARunningCaseBoundToAProvider) {
  CaseTestPlatform::install();
  auto unbound = VLValidationCase::make<CaseObservingSuite>("validateObserving:", nullptr);
  EXPECT_THROW(unbound->newCollectionStreamWithIdentifier("x"), VLException);
  // Inside a run the same mistake becomes a failed expectation, not a crash.
  auto observed = observe(nullptr);
  EXPECT_EQ(observed.validator->result(), VLValidationResultFailed);
  EXPECT_EQ(observed.validator->handledExpectations().at(0)->description(),
            "Validation encountered an exception: newCollectionStreamWithIdentifier needs a case bound to a provider");
}

}  // namespace
