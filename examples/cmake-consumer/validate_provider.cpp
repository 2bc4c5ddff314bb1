// Validates a provider with GoogleTest: each validation case is one test, named
// Suite.BaseName/Variant. Without arguments it validates the reference provider ("sim");
// the first argument that GoogleTest leaves names another, as `vlvalidate --provider` takes it.
#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <string>

#include "Validations/VLGoogleTest.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);  // takes the --gtest_* arguments out of argv
  const std::string provider = argc > 1 ? argv[1] : "sim";
  try {
    VLRegisterGoogleTests(provider);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "validate-provider: %s\n", error.what());
    return 2;
  }
  return RUN_ALL_TESTS();
}
