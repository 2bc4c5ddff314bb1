#include "vlvalidate/VLCaseSelection.h"

#include <cerrno>
#include <cstdlib>
#include <random>

#include "Choice/VLUsageError.h"
#include "vlvalidate/VLCaseFilter.h"

namespace {

// Returns a number in [0, bound) from `generator`, without the modulo bias and without
// std::uniform_int_distribution, whose results differ between standard libraries.
uint32_t below(std::mt19937& generator, uint32_t bound) {
  const uint32_t limit = UINT32_MAX - UINT32_MAX % bound;
  uint32_t value;
  do {
    value = generator();
  } while (value >= limit);
  return value % bound;
}

std::optional<int> environmentNumber(const char* name) {
  const char* text = std::getenv(name);
  if (!text) return std::nullopt;
  char* end = nullptr;
  errno = 0;
  long value = std::strtol(text, &end, 10);
  if (*text == '\0' || *end != '\0' || errno || value < 0 || value > 1000000) {
    throw VLUsageError(std::string(name) + "=" + text + " is not a whole number from 0 to 1000000");
  }
  return static_cast<int>(value);
}

}  // namespace

std::vector<size_t> VLCaseSelection::select(const std::vector<VLSelectableCase>& cases, const std::string& filter,
                                            const std::optional<std::string>& category) {
  const VLCaseFilter selector(filter);
  std::vector<size_t> selected;
  for (size_t i = 0; i < cases.size(); ++i) {
    if (category && cases[i].category != *category) continue;
    if (selector.matches({cases[i].shortID, cases[i].nameForMarlin})) selected.push_back(i);
  }
  return selected;
}

std::vector<size_t> VLCaseSelection::shard(const std::vector<size_t>& selected, int index, int total) {
  checkShard(index, total);
  std::vector<size_t> part;
  for (size_t i = static_cast<size_t>(index); i < selected.size(); i += static_cast<size_t>(total)) {
    part.push_back(selected[i]);
  }
  return part;
}

std::vector<VLPlannedRun> VLCaseSelection::plan(const std::vector<size_t>& cases, int repeat,
                                                std::optional<uint32_t> shuffleSeed) {
  std::vector<VLPlannedRun> runs;
  std::mt19937 generator(shuffleSeed.value_or(0));
  for (int round = 1; round <= repeat; ++round) {
    std::vector<size_t> order = cases;
    if (shuffleSeed) {
      for (size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[below(generator, uint32_t(i))]);
    }
    for (size_t index : order) runs.push_back({index, round});
  }
  return runs;
}

std::optional<std::pair<int, int>> VLCaseSelection::shardFromEnvironment() {
  auto index = environmentNumber("GTEST_SHARD_INDEX");
  auto total = environmentNumber("GTEST_TOTAL_SHARDS");
  if (!index && !total) return std::nullopt;
  if (!index || !total) {
    throw VLUsageError("GTEST_SHARD_INDEX and GTEST_TOTAL_SHARDS must be set together (only " +
                       std::string(index ? "GTEST_SHARD_INDEX" : "GTEST_TOTAL_SHARDS") + " is)");
  }
  try {
    checkShard(*index, *total);
  } catch (const VLUsageError& error) {
    throw VLUsageError(std::string("from GTEST_SHARD_INDEX and GTEST_TOTAL_SHARDS: ") + error.what());
  }
  return std::make_pair(*index, *total);
}

void VLCaseSelection::checkShard(int index, int total) {
  if (total < 1) throw VLUsageError("the total number of shards must be at least 1, not " + std::to_string(total));
  if (index < 0 || index >= total) {
    throw VLUsageError("the shard index must be from 0 to " + std::to_string(total - 1) + " for " +
                       std::to_string(total) + " shards, not " + std::to_string(index));
  }
}

uint32_t VLCaseSelection::freshSeed() {
  std::random_device device;
  return 1 + device() % 99999;
}
