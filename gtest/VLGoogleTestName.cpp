#include "vlgtest/VLGoogleTestName.h"

namespace {

std::string googleTestSafe(const std::string& text) {
  std::string safe;
  for (char c : text) {
    const bool kept = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
                      c == '/';
    safe += kept ? c : '_';
  }
  // GoogleTest skips tests and suites whose name begins so unless asked to run disabled tests.
  if (safe.empty() || safe.rfind("DISABLED_", 0) == 0) safe = "_" + safe;
  return safe;
}

}  // namespace

VLGoogleTestName VLGoogleTestName::of(const std::string& suite, const std::string& shortID) {
  const std::string prefix = suite + ".";
  const std::string rest = shortID.rfind(prefix, 0) == 0 ? shortID.substr(prefix.size()) : shortID;
  return {googleTestSafe(suite), googleTestSafe(rest)};
}
