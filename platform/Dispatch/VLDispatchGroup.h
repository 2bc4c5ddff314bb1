// VLDispatchGroup: a counter of outstanding work that one can wait on until it is zero.
//
// enter() adds one, leave() takes one away; wait() blocks until the count is zero or the
// time-out passes. Leaving more often than entering is a programming error and stops the
// process. Thread-safe; made by make().
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "Dispatch/VLDispatchTime.h"

class VLDispatchGroup {
 public:
  static std::shared_ptr<VLDispatchGroup> make();

  void enter();
  void leave();
  // Blocks until the count is zero (true) or `seconds` have passed (false; NaN counts as 0).
  bool wait(double seconds = VLDispatchTimeForever);
  // Returns the current count (for diagnostics and tests).
  int64_t count();

  VLDispatchGroup(const VLDispatchGroup&) = delete;
  VLDispatchGroup& operator=(const VLDispatchGroup&) = delete;

 private:
  VLDispatchGroup() = default;
  std::mutex mutex_;
  std::condition_variable emptied_;
  int64_t count_ = 0;  // guarded by mutex_
};
