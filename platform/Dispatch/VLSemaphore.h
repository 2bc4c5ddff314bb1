// VLSemaphore: a counting semaphore with a time-out on waiting. Thread-safe; made by make().
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "Dispatch/VLDispatchTime.h"

class VLSemaphore {
 public:
  // Makes a semaphore whose count starts at `initial`.
  static std::shared_ptr<VLSemaphore> make(int64_t initial = 0);

  // Adds one to the count, waking one waiter.
  void signal();
  // Takes one from the count, waiting for at most `seconds` (NaN counts as 0) for it to be
  // positive. Returns true when it took one, false on time-out.
  bool wait(double seconds = VLDispatchTimeForever);

  VLSemaphore(const VLSemaphore&) = delete;
  VLSemaphore& operator=(const VLSemaphore&) = delete;

 private:
  explicit VLSemaphore(int64_t initial) : count_(initial) {}
  std::mutex mutex_;
  std::condition_variable positive_;
  int64_t count_;  // guarded by mutex_
};
