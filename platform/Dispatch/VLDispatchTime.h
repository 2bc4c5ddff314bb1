// Time-outs for the dispatch primitives: seconds as a double, turned into a deadline.
#pragma once

#include <chrono>
#include <limits>

// A time-out that never expires.
inline constexpr double VLDispatchTimeForever = std::numeric_limits<double>::infinity();

// Returns the steady-clock deadline `seconds` from now (seconds × 1e9, truncated to whole
// nanoseconds); a negative time-out is already over, an infinite one is the far future.
inline std::chrono::steady_clock::time_point vl_deadlineAfter(double seconds) {
  auto now = std::chrono::steady_clock::now();
  if (!(seconds < 1e9)) return std::chrono::steady_clock::time_point::max();
  if (seconds <= 0) return now;
  return now + std::chrono::nanoseconds(static_cast<long long>(seconds * 1e9));
}
