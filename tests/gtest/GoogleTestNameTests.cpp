#include <gtest/gtest.h>

#include <set>

#include "vlgtest/VLGoogleTestName.h"
#include "vlvalidate/VLCaseCatalog.h"

TEST(GoogleTestName, SuiteClassAndTheRestOfTheShortID) {
  struct Row {
    std::string suite, shortID, expectedSuite, expectedTest;
  };
  const std::vector<Row> rows = {
      {"VLTrashValidation", "VLTrashValidation.TrashUntrash/TrashingFolder", "VLTrashValidation",
       "TrashUntrash/TrashingFolder"},
      {"VLPlaceholderValidation", "VLPlaceholderValidation.PlaceholderIsWritten", "VLPlaceholderValidation",
       "PlaceholderIsWritten"},
      // What --gtest_filter reads as a pattern, the suite separator and spaces become "_".
      {"S", "S.A-b:c*d?e.f g", "S", "A_b_c_d_e_f_g"},
      {"My.Suite", "My.Suite.Case", "My_Suite", "Case"},
      // GoogleTest would not run these unless asked to run disabled tests.
      {"DISABLED_S", "DISABLED_S.DISABLED_X", "_DISABLED_S", "_DISABLED_X"},
      {"S", "Other.X", "S", "Other_X"},
      {"S", "S.", "S", "_"},
  };
  for (const auto& row : rows) {
    const auto name = VLGoogleTestName::of(row.suite, row.shortID);
    EXPECT_EQ(name.suite, row.expectedSuite) << row.shortID;
    EXPECT_EQ(name.test, row.expectedTest) << row.shortID;
  }
}

// Every standard case keeps a name of its own, and its names are already safe: the mapping
// changes nothing but the suite separator.
TEST(GoogleTestName, EveryStandardCaseHasItsOwnUnchangedName) {
  const auto catalog = VLCaseCatalog::of(nullptr);
  ASSERT_FALSE(catalog.names().empty());
  std::set<std::string> seen;
  for (const auto& names : catalog.names()) {
    const auto name = VLGoogleTestName::of(names.suite, names.shortID);
    EXPECT_EQ(name.suite + "." + name.test, names.shortID);
    EXPECT_TRUE(seen.insert(name.suite + "." + name.test).second) << names.shortID;
  }
}
