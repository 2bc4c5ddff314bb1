// Time-outs for the dispatch primitives: seconds as a double, turned into a deadline. A
// time-out that is not a number (NaN) is treated as 0, never as "wait for ever".
#pragma once

#include <chrono>
#include <cmath>
#include <limits>

// A time-out that never expires.
inline constexpr double VLDispatchTimeForever = std::numeric_limits<double>::infinity();

// Returns `seconds`, or 0 when it is NaN.
inline double vl_timeoutOrZero(double seconds) { return std::isnan(seconds) ? 0 : seconds; }

// Returns the steady-clock deadline `seconds` from now (seconds × 1e9, truncated to whole
// nanoseconds); a negative or NaN time-out is already over, an infinite one is the far future.
inline std::chrono::steady_clock::time_point vl_deadlineAfter(double seconds) {
  auto now = std::chrono::steady_clock::now();
  if (std::isnan(seconds) || seconds <= 0) return now;
  if (!(seconds < 1e9)) return std::chrono::steady_clock::time_point::max();
  return now + std::chrono::nanoseconds(static_cast<long long>(seconds * 1e9));
}
