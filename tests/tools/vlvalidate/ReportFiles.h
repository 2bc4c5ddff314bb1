// Reading the JSON reports that the end-to-end tests make vlvalidate write.
#pragma once

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

namespace e2e {

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
