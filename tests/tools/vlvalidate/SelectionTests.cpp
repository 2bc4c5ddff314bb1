// Which cases a run selects and in what order: the filter syntax, categories, shards, and
// the shuffle that a seed replays.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "Choice/VLUsageError.h"
#include "vlvalidate/VLCaseSelection.h"

namespace {

const std::vector<VLSelectableCase> kCases = {
    {"VLContainerValidation.ItemCount/RootContainer",
     "VLContainerValidation_validateItemCount:variantRootContainer:", "2"},
    {"VLContainerValidation.ItemCount/Folder", "VLContainerValidation_validateItemCount:variantFolder:", "2"},
    {"VLContainerValidation.Hierarchy", "VLContainerValidation_validateHierarchy:", "1"},
    {"VLTrashValidation.TrashUntrash/TrashingFolder",
     "VLTrashValidation_validateTrashUntrash:variantTrashingFolder:", "2"},
    {"VLPlaceholderValidation.PlaceholderIsWritten", "VLPlaceholderValidation_validatePlaceholderIsWritten:", "1"},
    {"VLOddValidation.Odd", "VLOddValidation_validateOdd:", "<uncategorized>"},
};

std::vector<size_t> select(const std::string& filter, std::optional<std::string> category = std::nullopt) {
  return VLCaseSelection::select(kCases, filter, category);
}

// The filter matches short IDs and unit-test names; a category narrows it.
TEST(Selection, FilterSyntaxMatchesShortIDsAndUnitTestNames) {
  struct Row {
    std::string filter;
    std::vector<size_t> selected;
    std::optional<std::string> category = std::nullopt;
  };
  const std::vector<Row> rows = {
      {"*", {0, 1, 2, 3, 4, 5}},
      {"", {0, 1, 2, 3, 4, 5}},
      {"VLContainerValidation.*", {0, 1, 2}},
      {"*/Folder", {1}},
      {"VLContainerValidation.*-*/RootContainer", {1, 2}},
      {"*ItemCount*:*Trash*", {0, 1, 3}},
      {"-*Container*", {3, 4, 5}},
      {"*-*Container*:*Odd*", {3, 4}},
      {"VLContainerValidation.ItemCount/?older", {1}},
      {"VLContainerValidation.ItemCount", {}},                         // a validation with variants is not one case
      {"VLPlaceholderValidation_validatePlaceholderIsWritten:", {4}},  // a unit-test runner name, pasted whole
      {"VLTrashValidation_validateTrashUntrash:variantTrashingFolder:", {3}},
      {"*validateTrashUntrash?variantTrashingFolder?", {3}},
      {"vlcontainervalidation.*", {}},  // case matters
      {"::*Hierarchy::", {2}},
      {"*", {2, 4}, "1"},
      {"VLContainerValidation.*", {0, 1}, "2"},
      {"VLOdd*", {}, "1"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(select(row.filter, row.category), row.selected)
        << "filter " << row.filter << " category " << row.category.value_or("-");
  }
}

TEST(Selection, ShardsSplitTheSelectionWithoutOverlap) {
  const std::vector<size_t> selected = {10, 11, 12, 13, 14, 15, 16};
  for (int total : {1, 2, 3, 7, 9}) {
    std::multiset<size_t> seen;
    for (int index = 0; index < total; ++index) {
      for (size_t item : VLCaseSelection::shard(selected, index, total)) seen.insert(item);
    }
    EXPECT_EQ(seen, std::multiset<size_t>(selected.begin(), selected.end())) << total << " shards";
  }
  EXPECT_EQ(VLCaseSelection::shard(selected, 1, 3), (std::vector<size_t>{11, 14}));  // GoogleTest's split
  EXPECT_TRUE(VLCaseSelection::shard(selected, 8, 9).empty());
  for (auto [index, total] : {std::pair{3, 3}, {-1, 2}, {0, 0}}) {
    EXPECT_THROW(VLCaseSelection::shard(selected, index, total), VLUsageError) << index << "/" << total;
  }
}

TEST(Selection, ShardFromTheEnvironment) {
  struct Row {
    const char* index;
    const char* total;
    std::optional<std::pair<int, int>> shard;  // none: no shard, or an error when `fails`
    bool fails;
  };
  const std::vector<Row> rows = {
      {nullptr, nullptr, std::nullopt, false}, {"1", "3", std::pair{1, 3}, false}, {"3", "3", std::nullopt, true},
      {"1", nullptr, std::nullopt, true},      {"x", "3", std::nullopt, true},     {"-1", "3", std::nullopt, true},
      {"", "3", std::nullopt, true},
  };
  for (const auto& row : rows) {
    auto set = [](const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); };
    set("GTEST_SHARD_INDEX", row.index);
    set("GTEST_TOTAL_SHARDS", row.total);
    SCOPED_TRACE(std::string(row.index ? row.index : "-") + "/" + (row.total ? row.total : "-"));
    if (row.fails) {
      EXPECT_THROW(VLCaseSelection::shardFromEnvironment(), VLUsageError);
    } else {
      EXPECT_EQ(VLCaseSelection::shardFromEnvironment(), row.shard);
    }
  }
  unsetenv("GTEST_SHARD_INDEX");
  unsetenv("GTEST_TOTAL_SHARDS");
}

TEST(Selection, ASeedReplaysItsOrderAndEveryRoundIsAPermutation) {
  std::vector<size_t> cases(20);
  for (size_t i = 0; i < cases.size(); ++i) cases[i] = 100 + i;

  auto listed = VLCaseSelection::plan(cases, 2, std::nullopt);
  ASSERT_EQ(listed.size(), 40u);
  for (size_t i = 0; i < listed.size(); ++i) {
    EXPECT_EQ(listed[i], (VLPlannedRun{cases[i % 20], int(i / 20) + 1}));
  }

  auto shuffled = VLCaseSelection::plan(cases, 3, 4242);
  EXPECT_EQ(shuffled, VLCaseSelection::plan(cases, 3, 4242));
  EXPECT_NE(shuffled, VLCaseSelection::plan(cases, 3, 4243));
  std::vector<std::vector<size_t>> rounds(3);
  for (const auto& run : shuffled) rounds[run.repetition - 1].push_back(run.caseIndex);
  for (auto& round : rounds) {
    EXPECT_NE(round, cases);
    std::sort(round.begin(), round.end());
    EXPECT_EQ(round, cases);
  }
  // Pinned: a printed seed must replay the same order with any standard library.
  std::vector<size_t> order;
  for (const auto& run : VLCaseSelection::plan({0, 1, 2, 3, 4, 5, 6, 7}, 1, 7)) order.push_back(run.caseIndex);
  EXPECT_EQ(order, (std::vector<size_t>{2, 4, 0, 3, 5, 1, 6, 7}));
}

}  // namespace
