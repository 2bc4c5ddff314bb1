// VLGoogleTestName: the GoogleTest name of a validation case: the suite class as the test
// suite, the rest of the case's short ID as the test name. A plain value.
#pragma once

#include <string>

struct VLGoogleTestName {
  std::string suite;  // "VLTrashValidation"
  std::string test;   // "TrashUntrash/TrashingFolder"

  // Returns the names of the case with short ID `shortID` ("Suite.BaseName/Variant") of the
  // suite class `suite`. Every character other than a letter, a digit, "_" or "/" becomes
  // "_", so that no name holds what --gtest_filter reads as a pattern (* ? : -) or the "."
  // between suite and test; a name GoogleTest would take as disabled gets a "_" in front.
  static VLGoogleTestName of(const std::string& suite, const std::string& shortID);
};
