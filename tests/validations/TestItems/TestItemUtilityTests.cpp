// The test item utilities through a case of their own, against the simulated provider: how
// names and contents are made, what they expect of the import, which item manager a look-up
// goes through on each platform revision, and what a look-up answered too late may touch.
#include <gtest/gtest.h>

#include <atomic>

#include "Simulated/Simulated.h"
#include "Validations/Validations.h"
#include "support/ActionRecordingPlatform.h"
#include "support/TestItems.h"
#include "CaseRun/VLCaseRunner.h"

namespace {

using Validator = std::shared_ptr<VLValidator>;

class UtilityProbe : public VLValidationCase {
 public:
  // Set by the test before the run; runs on the case's thread.
  std::function<void(UtilityProbe& self, const Validator& validator)> body;
  void validateUtilities(const Validator& validator) { body(*this, validator); }
};

const bool kRegistered = [] {
  VLValidationCase::registerSuiteClass<UtilityProbe>({{"validateUtilities:", &UtilityProbe::validateUtilities}});
  return true;
}();

struct Run {
  VLCaseOutcome outcome;
  std::vector<VLItemRef> items;     // what the body's utility calls returned
  std::vector<std::string> bodies;  // their contents, read before tear-down deletes them
  std::vector<std::string> texts;   // every handled expectation: "[result] description | comment"

  bool has(const std::string& fragment) const {
    for (const auto& text : texts) {
      if (text.find(fragment) != std::string::npos) return true;
    }
    return false;
  }
};

std::string contentsOf(const VLItemRef& item) {
  auto url = std::make_shared<std::optional<VLURL>>();
  auto done = VLSemaphore::make();
  VLItemManager::defaultManager()->fetchURLForItem(item, false, [url, done](auto found, VLErrorRef) {
    *url = found;
    done->signal();
  });
  done->wait(20);
  auto data = *url ? VLFileManager::defaultManager().contentsAtURL(**url) : std::nullopt;
  return data ? data->stringValue() : "<none>";
}

Run runWith(const std::string& settings,
            const std::function<VLItemRef(UtilityProbe&, const Validator&, const std::string& root)>& call) {
  EXPECT_TRUE(kRegistered);
  auto service = VLSimulatedProviderService::make("seed=none," + settings);
  service->install();
  auto probe = VLValidationCase::make<UtilityProbe>("validateUtilities:", service->provider());
  Run run;
  probe->body = [&](UtilityProbe& self, const Validator& validator) {
    run.items.push_back(call(self, validator, service->validationRootIdentifier()));
    run.bodies.push_back(run.items.back() ? contentsOf(run.items.back()) : "<none>");
  };
  run.outcome = VLCaseRunner::run(probe, {});
  for (const auto& e : run.outcome.handledExpectations) {
    run.texts.push_back("[" + std::string(vl_resultName(e->result())) + "] " + e->description() + " | " +
                        e->comment().value_or(""));
  }
  return run;
}

TEST(TestItemUtilities, NamesContentsAndWhatAnImportMustShow) {
  struct Row {
    std::optional<std::string> extension;
    std::optional<VLData> contents;
    std::string suffix, body;
  };
  // Only an absent extension leaves the dot out; an empty one keeps it.
  for (const auto& row : {Row{std::nullopt, std::nullopt, "", "Hello"}, Row{"", std::nullopt, ".", "Hello"},
                          Row{"txt", VLData::fromString("text"), ".txt", "text"}}) {
    auto run = runWith("", [&](UtilityProbe& self, const Validator& v, const std::string& root) {
      return self.createTestFile(v, root, row.contents, row.extension);
    });
    ASSERT_EQ(run.outcome.result, VLValidationResultPassed) << ::testing::PrintToString(run.texts);
    ASSERT_TRUE(run.items[0]);
    const std::string& name = run.items[0]->filename();
    EXPECT_EQ(name.rfind("Validation-", 0), 0u) << name;
    EXPECT_EQ(name.find('.'), row.suffix.empty() ? std::string::npos : name.size() - row.suffix.size()) << name;
    EXPECT_EQ(run.bodies[0], row.body);
    // A file import puts no condition on the type; a folder import asks for a folder.
    EXPECT_FALSE(run.has("typeIdentifier:"));
  }
  auto folder = runWith("", [](UtilityProbe& self, const Validator& v, const std::string& root) {
    return self.createTestItem(v, root, true);
  });
  ASSERT_TRUE(folder.items[0]);
  EXPECT_TRUE(folder.has("pending: 0, typeIdentifier: public.folder on events for"));
}

TEST(TestItemUtilities, ReportsEveryWayAnImportCanFail) {
  auto noItem = runWith("import-reports-no-item", [](UtilityProbe& self, const Validator& v, const std::string& root) {
    return self.createTestItem(v, root, false);
  });
  EXPECT_FALSE(noItem.items[0]);
  EXPECT_TRUE(noItem.has("[failed] Copy file Validation-"));
  EXPECT_TRUE(noItem.has(" | Import returned no overall error but no item either"));

  auto noContainer = runWith("", [](UtilityProbe& self, const Validator& v, const std::string&) {
    return self.createTestItem(v, "no-such-container", true);
  });
  EXPECT_FALSE(noContainer.items[0]);
  EXPECT_TRUE(noContainer.has("[failed] Looking up container no-such-container"));
  EXPECT_FALSE(noContainer.has("Create folder"));  // nothing was attempted
}

TEST(TestItemUtilities, LookupsGoThroughTheValidatorOnlyWhereTheFetchOperationExists) {
  for (const std::string revision : {"current", "older"}) {
    auto run =
        runWith("platform-revision=" + revision, [](UtilityProbe& self, const Validator& v, const std::string& root) {
          return self.lookupItemWithIdentifier(root, v);
        });
    ASSERT_TRUE(run.items[0]) << revision;
    EXPECT_EQ(run.has("Performing VLFetchItemOperation"), revision == "current");
    EXPECT_TRUE(run.has("[passed] Looking up container"));
    EXPECT_EQ(run.outcome.marks.count(run.items[0]->displayName()), 1u);
    EXPECT_EQ(run.outcome.marks.at(run.items[0]->displayName()), run.outcome.marks.at(run.items[0]->itemIdentifier()));
  }
}

// The look-up's answer is held back until its wait has timed out and the time-out is being
// recorded, then let go on another thread while the waiting thread reads what the look-up
// found (run under ThreadSanitizer too).
TEST(TestItemUtilities, ALookupAnsweredAfterItsWaitOnlySettlesItsExpectation) {
  auto platform = ActionRecordingPlatform::install();
  platform->setNeverComplete(true);
  auto released = VLSemaphore::make(0);
  auto once = std::make_shared<std::atomic<bool>>(false);
  VLCaseRunOptions options;
  options.defaultTimeout = 0.05;
  options.statusBlock = [platform, released, once](const std::shared_ptr<VLExpectation>& expectation,
                                                   const VLValidator::MarkTable&) {
    if (expectation->description() != "Looking up container container-1" || once->exchange(true)) return;
    VLBackgroundQueue::shared().async([platform, released] {
      for (const auto& action : platform->scheduled()) {
        if (auto fetch = std::dynamic_pointer_cast<VLFetchItemOperation>(action)) {
          fetch->completeWithItem(vl_testItem("late-1", "Late.txt"), nullptr);
        }
      }
      released->signal();
    });
  };
  auto probe = VLValidationCase::make<UtilityProbe>("validateUtilities:",
                                                    VLProvider::make("p", "com.example.p", std::nullopt, "p-id"));
  VLItemRef returned = vl_testItem("unset", "Unset.txt");
  probe->body = [&](UtilityProbe& self, const Validator& validator) {
    returned = self.lookupItemWithIdentifier("container-1", validator);
  };
  auto outcome = VLCaseRunner::run(probe, options);
  ASSERT_TRUE(released->wait(20)) << "the held answer was never let go";
  EXPECT_FALSE(returned);
  EXPECT_EQ(outcome.marks.count("Late.txt") + outcome.marks.count("late-1"), 0u);
  std::shared_ptr<VLExpectation> lookup;
  for (const auto& expectation : outcome.handledExpectations) {
    if (expectation->description() == "Looking up container container-1") lookup = expectation;
  }
  ASSERT_TRUE(lookup);
  // The late answer rewrote its own expectation (last call wins) and nothing else.
  EXPECT_EQ(lookup->result(), VLValidationResultPassed);
  VLPlatform::install(nullptr);
}

}  // namespace
