#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Core/VLLog.h"

namespace {

TEST(VLLog, DebugLinesAreOffUntilEnabledAndFormatNothingMeanwhile) {
  std::vector<std::string> lines;
  VLLog::setSink([&](VLLogLevel, const std::string& line) { lines.push_back(line); });
  struct Counting {
    int* calls;
    std::string description() const { return ++*calls, "counted"; }
  };
  int calls = 0;
  VLLog::debug("%@", Counting{&calls});
  VLLog::setDebugEnabled(true);
  VLLog::debug("%@", Counting{&calls});
  VLLog::error("lost %@", "item");
  VLLog::setDebugEnabled(false);
  VLLog::setSink([](VLLogLevel, const std::string&) {});
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(lines, (std::vector<std::string>{"[DEBUG] counted", "[ERROR] lost item"}));
}

TEST(VLLogDeathTest, AssertStopsTheProcessWithACriticalLine) {
  int answer = 41;
  VL_ASSERT(answer == 41, "never printed %d", answer);
  // The test programs silence the log; the dying child restores the standard-error sink.
  EXPECT_DEATH(
      {
        VLLog::setSink(nullptr);
        VL_ASSERT(answer == 42, "answer was %d, not %@", answer, "42");
      },
      "\\[CRIT\\] \\[ASSERT\\] ‼️ answer was 41, not 42");
}

}  // namespace
