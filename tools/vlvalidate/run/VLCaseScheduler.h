// VLCaseScheduler: runs a list of cases against one provider, up to `jobs` at once, each
// attempt with a fresh case object and a fresh validator, so cases stay independent. A case
// that fails or is inconclusive is run again up to `retries` times, until it passes.
//
// Start and finish events go to the handlers on the scheduler's own serial report queue,
// one at a time, in the order they happened, so handlers need no lock. An interrupt asks
// the scheduler to start no further case (requestStop) and, if it comes again, to stop
// waiting for the running ones (abandon). Made by make(); neither copyable nor movable.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "Dispatch/VLDispatchQueue.h"
#include "Dispatch/VLSemaphore.h"
#include "vlvalidate/VLCaseRunner.h"

class VLCaseScheduler : public std::enable_shared_from_this<VLCaseScheduler> {
 public:
  struct Options {
    int jobs = 1;                  // cases at once; at least 1
    int retries = 0;               // extra attempts for a case that did not pass
    VLCaseRunOptions caseOptions;  // what each attempt's validator is set to
    // Called on the worker thread before each attempt (0-based) of the case at `index`, with a
    // copy of caseOptions to add that attempt's own callbacks to; may be empty.
    std::function<void(size_t index, int attempt, VLCaseRunOptions& options)> prepareAttempt;
  };
  // Called on the report queue when the case at `index` starts its first attempt.
  using StartHandler = std::function<void(size_t index)>;
  // Called on the report queue when the case at `index` has ended, with every attempt.
  using FinishHandler = std::function<void(size_t index, std::vector<VLCaseOutcome> attempts)>;

  // Makes a scheduler for `cases` (cases bound to the provider; they are templates only:
  // each attempt runs a fresh copy). Handlers may be empty.
  static std::shared_ptr<VLCaseScheduler> make(std::vector<std::shared_ptr<VLValidationCase>> cases, Options options,
                                               StartHandler started, FinishHandler finished);

  // Starts min(jobs, cases) worker threads and returns at once. Call once.
  void start();
  // Starts no further case; running cases finish (without further retries) and are
  // reported. Returns how many cases are running. Thread-safe; may be called repeatedly.
  size_t requestStop();
  // Makes wait() return without waiting for the running cases; nothing is reported after
  // wait() returns. Thread-safe.
  void abandon();
  // Runs `event` on the report queue after the events queued so far, unless wait() has
  // returned: nothing reaches the handlers after that. Thread-safe.
  void post(std::function<void()> event);
  // Blocks until every started case has finished and been reported (true), or until
  // abandon() (false). Call once, from the thread that called start().
  bool wait();

  VLCaseScheduler(const VLCaseScheduler&) = delete;
  VLCaseScheduler& operator=(const VLCaseScheduler&) = delete;
  ~VLCaseScheduler();

 private:
  VLCaseScheduler(std::vector<std::shared_ptr<VLValidationCase>> cases, Options options, StartHandler started,
                  FinishHandler finished);
  void work();
  std::vector<VLCaseOutcome> runWithRetries(size_t index);

  const std::vector<std::shared_ptr<VLValidationCase>> cases_;
  const Options options_;
  const StartHandler started_;
  const FinishHandler finished_;
  const std::shared_ptr<VLDispatchQueue> reportQueue_ = VLDispatchQueue::make("vlvalidate-report");
  const std::shared_ptr<VLSemaphore> done_ = VLSemaphore::make(0);

  std::vector<std::thread> workers_;  // touched by the thread calling start() and wait() only
  std::atomic<size_t> next_{0};       // the next case to hand out
  std::atomic<size_t> running_{0};
  std::atomic<size_t> activeWorkers_{0};
  std::atomic<bool> stopRequested_{false};
  std::atomic<bool> abandoned_{false};
  bool closed_ = false;  // owned by reportQueue_: no more events reach the handlers
};
