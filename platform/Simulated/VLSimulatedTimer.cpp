#include "Simulated/VLSimulatedTimer.h"

#include <thread>

#include "Dispatch/VLBackgroundQueue.h"

VLSimulatedTimer& VLSimulatedTimer::shared() {
  // Never destroyed: the timer thread may still be waiting when static objects go away.
  static VLSimulatedTimer* timer = new VLSimulatedTimer();
  return *timer;
}

void VLSimulatedTimer::after(std::chrono::microseconds delay, std::function<void()> task) {
  if (delay.count() <= 0) {
    task();
    return;
  }
  std::lock_guard lock(mutex_);
  tasks_.emplace(std::make_pair(Clock::now() + delay, nextSequence_++), std::move(task));
  if (!started_) {
    started_ = true;
    std::thread([this] { run(); }).detach();
  }
  changed_.notify_one();
}

void VLSimulatedTimer::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    if (tasks_.empty()) {
      changed_.wait(lock);
      continue;
    }
    auto first = tasks_.begin();
    if (first->first.first > Clock::now()) {
      changed_.wait_until(lock, first->first.first);
      continue;
    }
    std::function<void()> task = std::move(first->second);
    tasks_.erase(first);
    lock.unlock();
    vl_runTaskCatchingExceptions(task, "simulated timer");
    task = nullptr;
    lock.lock();
  }
}
