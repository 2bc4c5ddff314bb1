// VLRunListener: what hears a run as VLRunPipeline runs it: each planned run's start and end,
// an interrupt, and each attempt about to start (to add a live view's callbacks). Reporters
// are listeners; so is the live UI's session.
//
// caseStarting, caseFinished and runStopping come from one thread at a time, in the order the
// events happen; prepareAttempt comes from the thread about to run the attempt, several at once
// when cases run in parallel.
#pragma once

#include <cstddef>

#include "CaseRun/VLCaseRunner.h"
#include "vlvalidate/VLCaseRecord.h"

class VLRunListener {
 public:
  virtual ~VLRunListener() = default;

  // A planned run of a case starts (`record` holds its names, no attempt yet).
  virtual void caseStarting(const VLCaseRecord& record) { (void)record; }
  // A planned run of a case has ended, every attempt in `record`.
  virtual void caseFinished(const VLCaseRecord& record) = 0;
  // An interrupt stopped the run from starting more cases; `running` cases are finishing.
  virtual void runStopping(size_t running) { (void)running; }
  // Attempt `attempt` (0 for the first) of the planned run `names` is about to start with
  // `options`, which the listener may add its own callbacks to.
  virtual void prepareAttempt(const VLCaseRecord& names, int attempt, VLCaseRunOptions& options) {
    (void)names, (void)attempt, (void)options;
  }
};
