#include "Dispatch/VLDispatchQueue.h"

#include <condition_variable>
#include <exception>

#include "Core/VLLog.h"
#include "Dispatch/VLBackgroundQueue.h"

namespace {
thread_local const VLDispatchQueue* currentQueue = nullptr;
}

std::shared_ptr<VLDispatchQueue> VLDispatchQueue::make(std::string label) {
  return std::shared_ptr<VLDispatchQueue>(new VLDispatchQueue(std::move(label)));
}

bool VLDispatchQueue::isCurrent() const { return currentQueue == this; }

void VLDispatchQueue::runAsCurrent(const std::function<void()>& task, bool catchExceptions) {
  const VLDispatchQueue* previous = currentQueue;
  currentQueue = this;
  struct Restore {
    const VLDispatchQueue* previous;
    ~Restore() { currentQueue = previous; }
  } restore{previous};
  if (catchExceptions) {
    vl_runTaskCatchingExceptions(task, label_.c_str());
  } else {
    task();
  }
}

void VLDispatchQueue::async(std::function<void()> task) {
  std::unique_lock lock(mutex_);
  tasks_.push_back(std::move(task));
  if (draining_) return;
  draining_ = true;
  lock.unlock();
  VLBackgroundQueue::shared().async([self = shared_from_this()] { self->drain(); });
}

void VLDispatchQueue::drain() {
  std::unique_lock lock(mutex_);
  while (!tasks_.empty()) {
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    runAsCurrent(task, true);
    task = nullptr;  // each task's temporaries go before the next task starts
    lock.lock();
  }
  draining_ = false;
}

void VLDispatchQueue::sync(const std::function<void()>& task) {
  VL_ASSERT(!isCurrent(), "sync onto queue \"%@\" from a task of that very queue would never return", label_);
  std::unique_lock lock(mutex_);
  if (!draining_ && tasks_.empty()) {
    // Fast path: the queue is idle, so the caller owns it for the duration of the task.
    draining_ = true;
    lock.unlock();
    std::exception_ptr thrown;
    try {
      runAsCurrent(task, false);
    } catch (...) {
      thrown = std::current_exception();
    }
    lock.lock();
    if (tasks_.empty()) {
      draining_ = false;
    } else {
      VLBackgroundQueue::shared().async([self = shared_from_this()] { self->drain(); });
    }
    lock.unlock();
    if (thrown) std::rethrow_exception(thrown);
    return;
  }
  std::mutex doneMutex;
  std::condition_variable doneSignal;
  bool done = false;
  std::exception_ptr thrown;
  tasks_.push_back([&] {
    try {
      task();
    } catch (...) {
      thrown = std::current_exception();
    }
    std::lock_guard doneLock(doneMutex);
    done = true;
    doneSignal.notify_one();
  });
  lock.unlock();
  std::unique_lock doneLock(doneMutex);
  doneSignal.wait(doneLock, [&] { return done; });
  if (thrown) std::rethrow_exception(thrown);
}
