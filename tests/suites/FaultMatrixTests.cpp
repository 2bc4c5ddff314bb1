// Every row of the fault matrix: the reference provider with that fault makes the cases
// meant to catch it end with the row's verdict and words.
#include "Faults/VLFaultMatcher.h"
#include "SuiteHarness.h"

// Names a row in test listings by what it sets up, not by its bytes.
void PrintTo(const VLFaultMatrixRow& row, std::ostream* out) {
  *out << "sim:" << row.settings << (row.strict ? " (strict)" : "") << " → " << row.cases;
}

namespace {

std::vector<VLFaultMatrixRow> rows(bool slow) {
  std::vector<VLFaultMatrixRow> selected;
  for (const auto& row : VLFaultMatrix::rows()) {
    if (row.slow == slow) selected.push_back(row);
  }
  return selected;
}

std::string rowName(const ::testing::TestParamInfo<VLFaultMatrixRow>& info) {
  std::string name;
  for (char c : info.param.settings) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name + (info.param.strict ? "_strict_" : "_") + std::to_string(info.index);
}

class FaultMatrix : public ::testing::TestWithParam<VLFaultMatrixRow> {};

TEST_P(FaultMatrix, TheIntendedCasesCatchTheFault) {
  const VLFaultMatrixRow& row = GetParam();
  auto installed = suitetest::installSimulated(row.settings);
  auto outcomes = suitetest::runCases(installed, row.cases, row.strict);
  ASSERT_FALSE(outcomes.empty()) << "no case matches " << row.cases;
  for (const auto& outcome : outcomes) {
    EXPECT_EQ(VLFaultMatcher::mismatch(row, outcome.result, outcome.handledExpectations), "")
        << suitetest::describe(outcome);
  }
}

INSTANTIATE_TEST_SUITE_P(Rows, FaultMatrix, ::testing::ValuesIn(rows(false)), rowName);
INSTANTIATE_TEST_SUITE_P(SlowRows, FaultMatrix, ::testing::ValuesIn(rows(true)), rowName);

}  // namespace
