// VLBackgroundQueue: the shared concurrent background queue at default priority.
//
// Tasks start in no particular order relative to each other and may run at the same time.
// The queue is elastic: when every thread is busy (blocked in a wait, say) a new task gets a
// new thread, so a blocked case never starves another case or a service completion. Idle
// threads retire after a few seconds. A task that throws is logged and does not stop the
// queue. The shared queue lives until the process ends; all functions are thread-safe.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

class VLBackgroundQueue {
 public:
  // Returns the process-wide queue.
  static VLBackgroundQueue& shared();

  // Runs `task` on a background thread, soon; returns at once.
  void async(std::function<void()> task);

  // Returns how many worker threads exist right now (for benchmarks and tests).
  size_t threadCount();

  VLBackgroundQueue(const VLBackgroundQueue&) = delete;
  VLBackgroundQueue& operator=(const VLBackgroundQueue&) = delete;

 private:
  VLBackgroundQueue() = default;
  void workerLoop();

  std::mutex mutex_;
  std::condition_variable wakeup_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  size_t idle_ = 0;                          // guarded by mutex_
  size_t threads_ = 0;                       // guarded by mutex_
};

// Runs `task`, logging instead of propagating anything it throws. Used by every queue.
void vl_runTaskCatchingExceptions(const std::function<void()>& task, const char* where);
