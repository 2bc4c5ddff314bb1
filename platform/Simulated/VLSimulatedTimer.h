// VLSimulatedTimer: runs short hand-off tasks after a delay; the simulated service's
// latencies are made with it.
//
// One process-wide timer thread waits on a condition variable until the earliest deadline
// and then runs the task there, so tasks must be quick and must not block: they only hand
// work on to a dispatch queue. Tasks with equal deadlines run in the order they were given.
// A task with no delay runs at once on the calling thread. The shared timer lives until the
// process ends; all functions are thread-safe.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

class VLSimulatedTimer {
 public:
  using Clock = std::chrono::steady_clock;

  // Returns the process-wide timer.
  static VLSimulatedTimer& shared();

  // Runs `task` once `delay` has passed (at once, on this thread, when it is zero or less).
  void after(std::chrono::microseconds delay, std::function<void()> task);

  VLSimulatedTimer(const VLSimulatedTimer&) = delete;
  VLSimulatedTimer& operator=(const VLSimulatedTimer&) = delete;

 private:
  VLSimulatedTimer() = default;
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  // Pending tasks by (deadline, sequence number); guarded by mutex_.
  std::map<std::pair<Clock::time_point, uint64_t>, std::function<void()>> tasks_;
  uint64_t nextSequence_ = 0;  // guarded by mutex_
  bool started_ = false;       // guarded by mutex_
};
