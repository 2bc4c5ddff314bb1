// VLDispatchQueue: a serial queue: tasks run one at a time, first in first out.
//
// Tasks run on threads of the shared background queue; a queue with nothing to do holds
// no thread. Each task's captures are released as soon as it has run. A task that throws
// (through async) is logged and the queue goes on. The queue stays alive while it has
// tasks. Made by make(); neither copyable nor movable. All functions are thread-safe.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

class VLDispatchQueue : public std::enable_shared_from_this<VLDispatchQueue> {
 public:
  // Makes a serial queue with the given label (for diagnostics).
  static std::shared_ptr<VLDispatchQueue> make(std::string label);

  // Schedules `task` after every task already scheduled; returns at once.
  void async(std::function<void()> task);

  // Runs `task` after every task already scheduled and returns when it has run, rethrowing
  // what it threw. Calling sync onto the queue that is running the caller stops the process
  // (it could never return).
  void sync(const std::function<void()>& task);

  // Returns whether the calling thread is running a task of this queue.
  bool isCurrent() const;
  const std::string& label() const { return label_; }

  VLDispatchQueue(const VLDispatchQueue&) = delete;
  VLDispatchQueue& operator=(const VLDispatchQueue&) = delete;

 private:
  explicit VLDispatchQueue(std::string label) : label_(std::move(label)) {}
  void drain();
  void runAsCurrent(const std::function<void()>& task, bool catchExceptions);

  const std::string label_;
  std::mutex mutex_;
  std::deque<std::function<void()>> tasks_;  // guarded by mutex_
  bool draining_ = false;                    // guarded by mutex_: a thread owns the queue
};
