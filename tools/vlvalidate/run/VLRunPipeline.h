// VLRunPipeline: runs planned runs of a VLRunPlan, each with a fresh validator, on a
// VLCaseScheduler set up from the plan's options, and tells its listeners as it goes. The
// one way cases are run: `run`, `serve` and the GoogleTest registration all come here.
//
// start() once, then wait() once from the same thread; requestStop(), abandon() and post()
// from any thread. The plan's catalog and the listeners must outlive wait().
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "vlvalidate/VLCaseScheduler.h"
#include "vlvalidate/VLRunListener.h"
#include "vlvalidate/VLRunPlan.h"

class VLRunPipeline {
 public:
  // What running left.
  struct Outcome {
    std::vector<VLCaseRecord> records;  // one per planned run that finished, in finishing order
    bool complete = true;               // false when abandon() left cases running
    double wallTime = 0;                // seconds from start() to the end of wait()
  };

  // Makes a pipeline for the planned runs at `orders` of `plan` (every one when empty),
  // telling `listeners` in their order.
  static std::shared_ptr<VLRunPipeline> make(VLRunPlan plan, std::vector<VLRunListener*> listeners,
                                             std::vector<size_t> orders = {});

  // The scheduler's settings for `options`: jobs, retries, strict, the default time-out and
  // how much of each trace is kept.
  static VLCaseScheduler::Options schedulerOptions(const VLRunOptions& options);

  // Starts running and returns at once.
  void start();
  // Starts no further case; returns how many are running (see VLCaseScheduler::requestStop).
  size_t requestStop();
  // Lets wait() return without waiting for running cases.
  void abandon();
  // Runs `event` after the listener calls queued so far, with them, unless wait() has returned.
  void post(std::function<void()> event);
  // Blocks until every started case has been reported, or abandon().
  Outcome wait();

  VLRunPipeline(const VLRunPipeline&) = delete;
  VLRunPipeline& operator=(const VLRunPipeline&) = delete;

 private:
  VLRunPipeline(VLRunPlan plan, std::vector<VLRunListener*> listeners, std::vector<size_t> orders);

  const VLRunPlan plan_;
  const std::vector<VLRunListener*> listeners_;
  std::vector<VLCaseRecord> names_;     // per scheduled case, in scheduling order
  std::vector<VLCaseRecord> records_;   // owned by the scheduler's report queue until wait() returns
  std::shared_ptr<VLCaseScheduler> scheduler_;
  std::chrono::steady_clock::time_point started_;
};
