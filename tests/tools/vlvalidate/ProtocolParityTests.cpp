// The same verdicts through the provider protocol as in process: every registered case
// against vlprovider-sim in its own process, started as the runner starts it, conformant
// (strict and not) and with the faults of every fault-matrix row, must end as the one table
// demands of the built-in provider (tests/suites holds that provider to the same rows).
#include <gtest/gtest.h>

#include "Choice/VLProviderChoice.h"
#include "suites/VLStandardSuites.h"
#include "vlvalidate/VLFaultMatrixCheck.h"

namespace {

struct ParityCheck {
  const VLFaultMatrixRow* row = nullptr;  // none: the conformant provider, every case
  bool strict = false;
};

void PrintTo(const ParityCheck& check, std::ostream* out) {
  if (!check.row) {
    *out << "conformant" << (check.strict ? " (strict)" : "");
  } else {
    *out << check.row->settings << (check.strict ? " (strict)" : "") << " → " << check.row->cases;
  }
}

std::vector<ParityCheck> checks(bool slow) {
  std::vector<ParityCheck> list;
  if (!slow) list = {{nullptr, false}, {nullptr, true}};
  for (const auto& row : VLFaultMatrix::rows()) {
    if (row.slow == slow) list.push_back({&row, row.strict});
  }
  return list;
}

std::string checkName(const ::testing::TestParamInfo<ParityCheck>& info) {
  std::string name = info.param.row ? info.param.row->settings : "conformant";
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name + (info.param.strict ? "_strict_" : "_") + std::to_string(info.index);
}

class ProtocolParity : public ::testing::TestWithParam<ParityCheck> {
 protected:
  void TearDown() override { VLPlatform::install(nullptr); }
};

TEST_P(ProtocolParity, EveryCaseEndsAsInProcess) {
  VLRegisterStandardSuites();
  const ParityCheck& check = GetParam();
  const auto choice = VLProviderChoice::parse(std::string("exec:'") + VL_PROVIDER_SIM + "'")
                          .withSettings(check.row ? check.row->settings : "");
  const auto installed = choice.install();
  // Two at a time, as a CI machine's two cores allow: requests of both cases interleave.
  const auto result = check.row ? VLFaultMatrixCheck::runRow(*check.row, installed.provider, 2)
                                : VLFaultMatrixCheck::runConformance("", check.strict, installed.provider, 2);
  std::string mismatches;
  for (const auto& mismatch : result.mismatches) mismatches += "\n  " + mismatch;
  EXPECT_TRUE(result.passed()) << choice.text() << mismatches;
}

INSTANTIATE_TEST_SUITE_P(Rows, ProtocolParity, ::testing::ValuesIn(checks(false)), checkName);
INSTANTIATE_TEST_SUITE_P(SlowRows, ProtocolParity, ::testing::ValuesIn(checks(true)), checkName);

}  // namespace
