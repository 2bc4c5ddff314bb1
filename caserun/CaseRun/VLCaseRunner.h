// VLCaseRunner: runs one validation case with a fresh validator and waits for it, the way a
// runner's calling order asks: options on the validator, performWithValidator, and the
// outcome read in the completion.
//
// run() blocks the calling thread until the case's completion (the case bounds its own
// waits); it must not be called on the shared background queue's threads from inside a
// case. Several run() calls may proceed at once on different threads, against one provider.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Validations/Validations.h"

// What a runner sets on each validator.
struct VLCaseRunOptions {
  // What every runner sets unless asked otherwise: the default time-out (seconds) and how
  // many trace records the reports keep (the last N and the first N / 10).
  static constexpr double kDefaultTimeout = VLValidator::kDefaultTimeout;
  static constexpr size_t kDefaultTraceLimit = 2000;

  bool strict = false;                     // the suites' stricter optional checks (the validator's strict mode)
  double defaultTimeout = kDefaultTimeout;  // the validator's default time-out, seconds
  // Called on the validator's queue for every settled expectation (see VLValidator).
  VLValidator::StatusBlock statusBlock;
  // Whether the case's trace is recorded (VLCaseOutcome::trace).
  bool recordTrace = true;
  // With boundTrace, only the first traceFirst and the last traceLast records are kept (by
  // default what the reports keep by default), so that memory does not grow with the
  // provider's size; a caller that shows whole traces turns it off.
  bool boundTrace = true;
  size_t traceFirst = kDefaultTraceLimit / 10, traceLast = kDefaultTraceLimit;
  // Also called with every trace record as it happens, under the validator's trace lock
  // (see VLValidator::TraceBlock), whether or not the trace is recorded: a live view's feed.
  VLValidator::TraceBlock traceListener;
};

// What one run of one case produced.
struct VLCaseOutcome {
  std::shared_ptr<VLValidationCase> validationCase;
  std::string shortID;  // "Suite.BaseName/Variant"
  VLValidationResult result = VLValidationResultNotStarted;
  double runtime = 0;  // seconds, from the validator
  std::vector<std::shared_ptr<VLExpectation>> handledExpectations;
  VLValidator::MarkTable marks;  // the validator's marks after the run
  std::vector<VLTraceRecord> trace;  // every record kept, unmarked (see `marks`); empty unless recorded
  size_t traceOmitted = 0;           // records left out of a bounded trace…
  size_t traceOmittedAfter = 0;      // …after this many of the kept ones
};

class VLCaseRunner {
 public:
  // Runs `validationCase` (a case made for a provider, never run before) with a new
  // validator configured by `options`, and returns once its completion has been called.
  static VLCaseOutcome run(const std::shared_ptr<VLValidationCase>& validationCase, const VLCaseRunOptions& options);

  // Returns a new case object of the same class, validation, variant and provider as
  // `validationCase`, ready for one run (a case object serves a single run).
  static std::shared_ptr<VLValidationCase> freshCopy(const VLValidationCase& validationCase);

  // Returns every case of `provider` (VLValidationCase::allValidationsForProvider) whose
  // short ID or unit-test runner name `filter` selects, ordered by suite then listing order.
  static std::vector<std::shared_ptr<VLValidationCase>> casesForProvider(const std::shared_ptr<VLProvider>& provider,
                                                                         const class VLCaseFilter& filter);
};
