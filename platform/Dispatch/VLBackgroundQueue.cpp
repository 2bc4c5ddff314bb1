#include "Dispatch/VLBackgroundQueue.h"

#include <chrono>
#include <exception>
#include <thread>

#include "Core/VLLog.h"

namespace {
constexpr auto kIdleRetirement = std::chrono::seconds(10);
}

VLBackgroundQueue& VLBackgroundQueue::shared() {
  // Never destroyed: detached workers may still be parked on it while the process exits.
  static VLBackgroundQueue* queue = new VLBackgroundQueue();
  return *queue;
}

void VLBackgroundQueue::async(std::function<void()> task) {
  std::unique_lock lock(mutex_);
  tasks_.push_back(std::move(task));
  if (idle_ >= tasks_.size()) {
    lock.unlock();
    wakeup_.notify_one();
    return;
  }
  ++threads_;
  lock.unlock();
  std::thread([this] { workerLoop(); }).detach();
}

size_t VLBackgroundQueue::threadCount() {
  std::lock_guard lock(mutex_);
  return threads_;
}

void VLBackgroundQueue::workerLoop() {
  std::unique_lock lock(mutex_);
  for (;;) {
    if (tasks_.empty()) {
      ++idle_;
      bool woke = wakeup_.wait_for(lock, kIdleRetirement, [this] { return !tasks_.empty(); });
      --idle_;
      if (!woke) {
        --threads_;
        return;
      }
    }
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    vl_runTaskCatchingExceptions(task, "background queue");
    task = nullptr;  // release the task's captures before parking again
    lock.lock();
  }
}

void vl_runTaskCatchingExceptions(const std::function<void()>& task, const char* where) {
  try {
    task();
  } catch (const std::exception& e) {
    VLLog::fault("uncaught exception in a task on %s: %s", where, e.what());
  } catch (...) {
    VLLog::fault("uncaught exception of unknown kind in a task on %s", where);
  }
}
