// A conformant reference provider passes every case, under every setting a provider author
// may have; what the fault matrix lists for those settings (a non-syncing provider, strict
// mode) ends as listed instead; and nothing a case created is left behind.
#include "Faults/VLFaultMatcher.h"
#include "SuiteHarness.h"

namespace {

struct Configuration {
  std::string settings;
  bool strict;
  std::string name;
};

void PrintTo(const Configuration& configuration, std::ostream* out) { *out << configuration.name; }

class Conformance : public ::testing::TestWithParam<Configuration> {};

TEST_P(Conformance, EveryCasePassesAndLeavesNothingBehind) {
  const Configuration& setup = GetParam();
  auto installed = suitetest::installSimulated(setup.settings);
  const size_t before = suitetest::itemsOnDisk(*installed.service);

  auto outcomes = suitetest::runCases(installed, "*", setup.strict);
  ASSERT_FALSE(outcomes.empty());
  for (const auto& outcome : outcomes) {
    if (const auto* row = VLFaultMatrix::rowFor(setup.settings, setup.strict, outcome.shortID)) {
      EXPECT_EQ(VLFaultMatcher::mismatch(*row, outcome.result, outcome.handledExpectations), "")
          << suitetest::describe(outcome);
    } else {
      EXPECT_EQ(outcome.result, VLValidationResultPassed) << suitetest::describe(outcome);
    }
    // A conformant provider never makes a case wait for one of its time-outs.
    EXPECT_LT(outcome.runtime, 4.0) << outcome.shortID;
  }
  EXPECT_EQ(suitetest::itemsOnDisk(*installed.service), before);
}

INSTANTIATE_TEST_SUITE_P(
    Settings, Conformance,
    ::testing::Values(Configuration{"", false, "Default"}, Configuration{"", true, "Strict"},
                      Configuration{"alternate-root=Validation Area", true, "AlternateRoot"},
                      Configuration{"platform-revision=older", false, "OlderRevision"},
                      Configuration{"domain=Work", false, "Domain"},
                      Configuration{"action-latency=20ms,collection-latency=5ms", true, "Latencies"},
                      Configuration{"action-latency=20ms,collection-latency=5ms", false, "LatenciesNotStrict"},
                      Configuration{"working-set=no", false, "NoWorkingSet"},
                      Configuration{"working-set=no", true, "NoWorkingSetStrict"},
                      Configuration{"upload-latency=300ms", true, "UploadLatency"},
                      Configuration{"syncing=no", false, "NotSyncing"},
                      Configuration{"syncing=no", true, "NotSyncingStrict"},
                      // A provider in use: thousands of items, all in the working set.
                      Configuration{"seed-items=5000", true, "SeededItems"}),
    [](const auto& info) { return info.param.name; });

// The matrix shows the verdict; this shows that it comes before anything is created.
TEST(NotSyncing, DownloadEvictStopsBeforeTouchingTheProvider) {
  auto installed = suitetest::installSimulated("syncing=no");
  auto outcomes = suitetest::runCases(installed, "VLAttributeValidation.DownloadEvict", true);
  ASSERT_EQ(outcomes.size(), 1u);
  // The verdict is its only expectation: nothing was looked up, observed or copied.
  EXPECT_EQ(outcomes[0].handledExpectations.size(), 1u) << suitetest::describe(outcomes[0]);
}

}  // namespace
