#include "Simulated/VLSimulatedTimer.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>

#include "Dispatch/VLBackgroundQueue.h"

struct VLSimulatedTimer::State {
  std::mutex mutex;
  std::condition_variable changed;
  // Pending tasks by (deadline, sequence number); guarded by mutex.
  std::map<std::pair<Clock::time_point, uint64_t>, std::function<void()>> tasks;
  uint64_t nextSequence = 0;  // guarded by mutex
  bool stopped = false;       // guarded by mutex
  std::thread thread;         // guarded by mutex: started with the first delayed task
};

std::shared_ptr<VLSimulatedTimer> VLSimulatedTimer::make() {
  return std::shared_ptr<VLSimulatedTimer>(new VLSimulatedTimer());
}

VLSimulatedTimer::VLSimulatedTimer() : state_(std::make_shared<State>()) {}

VLSimulatedTimer::~VLSimulatedTimer() { stop(); }

bool VLSimulatedTimer::after(std::chrono::microseconds delay, std::function<void()> task) {
  std::unique_lock lock(state_->mutex);
  if (state_->stopped) return false;
  if (delay.count() <= 0) {
    lock.unlock();
    task();
    return true;
  }
  state_->tasks.emplace(std::make_pair(Clock::now() + delay, state_->nextSequence++), std::move(task));
  if (!state_->thread.joinable()) state_->thread = std::thread(&VLSimulatedTimer::run, state_);
  state_->changed.notify_one();
  return true;
}

void VLSimulatedTimer::stop() {
  std::map<std::pair<Clock::time_point, uint64_t>, std::function<void()>> dropped;
  std::thread thread;
  {
    std::lock_guard lock(state_->mutex);
    state_->stopped = true;
    dropped.swap(state_->tasks);
    thread = std::move(state_->thread);
    state_->changed.notify_one();
  }
  // Joining waits out a task in progress; a task that ends its own timer cannot wait for itself.
  if (thread.joinable()) {
    if (thread.get_id() == std::this_thread::get_id()) {
      thread.detach();
    } else {
      thread.join();
    }
  }
  dropped.clear();  // outside the lock: dropping a task may release what owns this timer
}

bool VLSimulatedTimer::isStopped() const {
  std::lock_guard lock(state_->mutex);
  return state_->stopped;
}

void VLSimulatedTimer::run(const std::shared_ptr<State>& state) {
  std::unique_lock lock(state->mutex);
  while (!state->stopped) {
    if (state->tasks.empty()) {
      state->changed.wait(lock);
      continue;
    }
    auto first = state->tasks.begin();
    if (first->first.first > Clock::now()) {
      state->changed.wait_until(lock, first->first.first);
      continue;
    }
    std::function<void()> task = std::move(first->second);
    state->tasks.erase(first);
    lock.unlock();
    vl_runTaskCatchingExceptions(task, "simulated timer");
    task = nullptr;
    lock.lock();
  }
}
