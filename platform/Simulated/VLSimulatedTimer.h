// VLSimulatedTimer: runs short hand-off tasks after a delay; the simulated service's
// latencies are made with it.
//
// Each service owns one timer. Its thread, started on the first delayed task, waits on a
// condition variable until the earliest deadline and then runs the task there, so tasks must
// be quick and must not block: they only hand work on to a dispatch queue. Tasks with equal
// deadlines run in the order they were given. A task with no delay runs at once on the
// calling thread.
//
// Lifetime: stop() (also run by the destructor) is the timer's orderly end: pending tasks are
// dropped, later ones refused, and the thread ends, so nothing scheduled on the timer calls
// back into the service after it has gone. Made by make(); all functions are thread-safe.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

class VLSimulatedTimer {
 public:
  using Clock = std::chrono::steady_clock;

  static std::shared_ptr<VLSimulatedTimer> make();
  ~VLSimulatedTimer();

  // Runs `task` once `delay` has passed (at once, on this thread, when it is zero or less).
  // Returns false, dropping the task, once the timer has been stopped.
  bool after(std::chrono::microseconds delay, std::function<void()> task);

  // Drops every pending task and refuses later ones. Returns after a task in progress has
  // finished and the thread has ended (unless called from a task, which cannot wait for
  // itself). Later calls do nothing.
  void stop();
  bool isStopped() const;

  VLSimulatedTimer(const VLSimulatedTimer&) = delete;
  VLSimulatedTimer& operator=(const VLSimulatedTimer&) = delete;

 private:
  struct State;  // shared with the thread, which may outlive the timer by one task

  VLSimulatedTimer();
  static void run(const std::shared_ptr<State>& state);

  const std::shared_ptr<State> state_;
};
