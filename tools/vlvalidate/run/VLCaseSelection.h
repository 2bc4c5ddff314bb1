// VLCaseSelection: which cases a run runs, and in what order: the filter (GoogleTest syntax,
// over the short ID and the unit-test runner name), the category, the shard of a CI matrix,
// repetitions, and a shuffle that a printed seed replays. Pure functions over plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// A case as selection sees it.
struct VLSelectableCase {
  std::string shortID;
  std::string nameForMarlin;
  std::string category;
};

// One planned run: the index of a case in the selectable list, and which repetition.
struct VLPlannedRun {
  size_t caseIndex = 0;
  int repetition = 1;
  bool operator==(const VLPlannedRun&) const = default;
};

class VLCaseSelection {
 public:
  // Returns the indices of the `cases` that `filter` selects (by short ID or unit-test
  // runner name) and, with `category`, that are in it; in listing order.
  static std::vector<size_t> select(const std::vector<VLSelectableCase>& cases, const std::string& filter,
                                    const std::optional<std::string>& category);
  // Returns the part of `selected` that shard `index` of `total` runs: the elements at
  // positions index, index + total, … (GoogleTest's split), so that every case runs in
  // exactly one shard whatever the order.
  static std::vector<size_t> shard(const std::vector<size_t>& selected, int index, int total);
  // Returns `repeat` rounds over `cases`; with a seed, each round in its own order drawn
  // from one generator seeded once, so the same seed gives the same runs on every machine.
  static std::vector<VLPlannedRun> plan(const std::vector<size_t>& cases, int repeat,
                                        std::optional<uint32_t> shuffleSeed);

  // Returns the shard given by GTEST_SHARD_INDEX and GTEST_TOTAL_SHARDS, or none when
  // neither is set. Throws VLUsageError naming the variable when one is set without the
  // other or is not a number in range.
  static std::optional<std::pair<int, int>> shardFromEnvironment();
  // Throws VLUsageError unless 0 <= index < total.
  static void checkShard(int index, int total);
  // Returns a fresh seed between 1 and 99999, short enough to type back in.
  static uint32_t freshSeed();
};
