// The main() of every test program: GoogleTest plus a quiet log (set VL_TEST_LOG=1 to see it).
#include <gtest/gtest.h>

#include <cstdlib>

#include "Core/VLLog.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  if (!std::getenv("VL_TEST_LOG")) VLLog::setSink([](VLLogLevel, const std::string&) {});
  return RUN_ALL_TESTS();
}
