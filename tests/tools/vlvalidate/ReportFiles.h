// Where the runner's tests put the files they make vlvalidate write, and reading them back.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

namespace e2e {

// A file of this name in a folder of this process's own (mkdtemp, mode 0700): other runs of
// these tests on a shared machine write the same names.
inline std::string scratchFile(const std::string& name) {
  static const std::string folder = [] {
    std::string pattern = ::testing::TempDir() + "/vlvalidate-tests-XXXXXX";
    if (!mkdtemp(pattern.data())) ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
    return pattern;
  }();
  return folder + "/" + name;
}

inline std::string readText(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline nlohmann::json readJson(const std::string& file) {
  std::ifstream in(file);
  return nlohmann::json::parse(in, nullptr, false);
}

// Returns each case's verdict in a JSON report, keyed by short ID (and "#repetition" after the first).
inline std::map<std::string, std::string> verdicts(const nlohmann::json& report) {
  std::map<std::string, std::string> result;
  for (const auto& entry : report["cases"]) {
    int repetition = entry["repetition"];
    result[entry["id"].get<std::string>() + (repetition > 1 ? "#" + std::to_string(repetition) : "")] =
        entry["verdict"];
  }
  return result;
}

}  // namespace e2e
