#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Core/VLLog.h"

namespace {

// Collects the lines written while it lives, then puts the tests' quiet sink back.
class CapturedLog {
 public:
  CapturedLog() {
    VLLog::setSink([this](VLLogLevel level, const std::string& line) { lines.emplace_back(level, line); });
  }
  ~CapturedLog() {
    VLLog::setDebugEnabled(false);
    VLLog::setSink([](VLLogLevel, const std::string&) {});
  }
  std::vector<std::pair<VLLogLevel, std::string>> lines;
};

TEST(VLLog, LinesCarryTheirLevelWord) {
  CapturedLog log;
  VLLog::error("lost %@", "item");
  VLLog::fault("%d", 3);
  VLLog::info("i");
  ASSERT_EQ(log.lines.size(), 3u);
  EXPECT_EQ(log.lines[0], std::make_pair(VLLogLevel::Error, std::string("[ERROR] lost item")));
  EXPECT_EQ(log.lines[1], std::make_pair(VLLogLevel::Fault, std::string("[CRIT] 3")));
  EXPECT_EQ(log.lines[2].second, "[INFO] i");
}

TEST(VLLog, DebugLinesAreOffUntilEnabledAndFormatNothing) {
  CapturedLog log;
  struct Counting {
    int* calls;
    std::string description() const { return ++*calls, "counted"; }
  };
  int calls = 0;
  VLLog::debug("%@", Counting{&calls});
  EXPECT_TRUE(log.lines.empty());
  EXPECT_EQ(calls, 0);
  VLLog::setDebugEnabled(true);
  VLLog::debug("%@", Counting{&calls});
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_EQ(log.lines[0].second, "[DEBUG] counted");
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
