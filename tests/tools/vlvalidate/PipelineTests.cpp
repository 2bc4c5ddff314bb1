// The run pipeline every front end runs cases through: each listener hears every planned run
// once, under the names the plan gives it, with one prepareAttempt per attempt; a pipeline
// over some orders of a plan (the live UI's re-run) runs those only.
#include <gtest/gtest.h>

#include <map>
#include <mutex>

#include "Choice/VLProviderChoice.h"
#include "suites/VLStandardSuites.h"
#include "vlvalidate/VLProviderProperties.h"
#include "vlvalidate/VLRunPipeline.h"

namespace {

// What one listener heard.
class Recorder : public VLRunListener {
 public:
  std::vector<std::pair<std::string, size_t>> started, finished;  // short ID and order
  std::map<size_t, int> attempts;                                  // order → attempts prepared
  std::map<size_t, size_t> recorded;                               // order → attempts in its record

  void caseStarting(const VLCaseRecord& record) override { started.emplace_back(record.shortID, record.order); }
  void caseFinished(const VLCaseRecord& record) override {
    finished.emplace_back(record.shortID, record.order);
    recorded[record.order] = record.attempts.size();
  }
  void prepareAttempt(const VLCaseRecord& names, int, VLCaseRunOptions&) override {
    std::lock_guard<std::mutex> lock(mutex_);  // attempts start on several threads
    ++attempts[names.order];
  }

 private:
  std::mutex mutex_;
};

class RunPipeline : public ::testing::Test {
 protected:
  void TearDown() override { VLPlatform::install(nullptr); }
};

TEST_F(RunPipeline, EveryListenerHearsEveryPlannedRunOnceUnderItsNames) {
  VLRegisterStandardSuites();
  const auto choice = VLProviderChoice::parse("sim");
  const auto installed = choice.install();
  VLRunOptions options;
  options.filter = "VLTrashValidation.TrashUntrash/*";  // two cases, however many the suite gains
  options.repeat = 2;
  options.jobs = 2;
  const auto plan =
      VLRunPlan::make(choice, installed.provider, VLProviderProperties::of(*installed.provider), options);
  ASSERT_EQ(plan.info.selectedCases, 2u);
  ASSERT_EQ(plan.runs.size(), 4u);
  EXPECT_EQ(plan.info.plannedRuns, 4u);

  // Over every order, then over one order alone.
  for (const std::vector<size_t>& orders : {std::vector<size_t>{}, std::vector<size_t>{2}}) {
    Recorder first, second;
    auto pipeline = VLRunPipeline::make(plan, {&first, &second}, orders);
    pipeline->start();
    const auto outcome = pipeline->wait();
    EXPECT_TRUE(outcome.complete);

    const size_t expected = orders.empty() ? plan.runs.size() : orders.size();
    ASSERT_EQ(outcome.records.size(), expected);
    EXPECT_EQ(first.finished, second.finished) << "listeners hear the same run in the same order";
    EXPECT_EQ(first.started.size(), expected);
    ASSERT_EQ(first.finished.size(), expected);
    for (size_t index = 0; index < expected; ++index) {
      const VLCaseRecord& record = outcome.records[index];
      const VLCaseRecord names = plan.namesOf(record.order);
      EXPECT_EQ(record.shortID, names.shortID);
      EXPECT_EQ(record.repetition, names.repetition);
      EXPECT_EQ(first.finished[index], std::make_pair(record.shortID, record.order));
      EXPECT_EQ(first.attempts[record.order], static_cast<int>(record.attempts.size())) << record.shortID;
      EXPECT_EQ(first.recorded[record.order], record.attempts.size());
    }
    if (!orders.empty()) {
      EXPECT_EQ(outcome.records[0].order, orders[0]);
    }
  }
}

}  // namespace
