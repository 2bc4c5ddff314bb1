// Records of what a run produced, as the reporters read them: plain values, taken from a
// case's outcome once its completion has been called (or built by hand in tests). A record
// holds every attempt of one planned run of one case; with retries there may be several.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Validations/VLNearMiss.h"
#include "Validations/VLValidationResult.h"
#include "Validations/VLTraceExcerpt.h"
#include "CaseRun/VLCaseRunner.h"

// An expectation's error, as shown: domain, code and diagnostic description.
struct VLErrorRecord {
  std::string domain;
  int64_t code = 0;
  std::string description;
};

// One settled expectation.
struct VLExpectationRecord {
  std::string description;
  VLValidationResult result = VLValidationResultInconclusive;
  std::optional<std::string> comment;  // none after a fail without an error
  std::optional<VLErrorRecord> error;
  std::optional<VLNearMiss> nearMiss = std::nullopt;  // a failed check's closest candidate, key by key

  // Copies the fields of `expectation` (the near miss from its error).
  static VLExpectationRecord of(const VLExpectation& expectation);
};

// One run of a case with one validator.
struct VLAttemptRecord {
  VLValidationResult verdict = VLValidationResultNotStarted;
  double runtime = 0;                             // seconds
  std::vector<VLExpectationRecord> expectations;  // in handled order
  std::map<std::string, uint64_t> marks;          // identifier or name → mark number
  std::vector<VLTraceRecord> trace;               // the trace kept, in order, unmarked
  size_t traceOmitted = 0;                        // records left out of it…
  size_t traceOmittedAfter = 0;                   // …after this many of the kept ones

  // The trace cut for a report: its last `limit` records and its first limit / 10.
  VLTraceExcerpt::Bounded boundedTrace(size_t limit) const;
  // How many records the trace had, the ones left out included.
  size_t traceCount() const { return trace.size() + traceOmitted; }

  // Copies what `outcome` holds.
  static VLAttemptRecord of(const VLCaseOutcome& outcome);
  // Takes what `outcome` holds, its trace without copying it.
  static VLAttemptRecord of(VLCaseOutcome&& outcome);
};

// One planned run of one case: its names and every attempt, the last one deciding.
struct VLCaseRecord {
  std::string shortID;                 // "VLContainerValidation.ItemCount/Folder"
  std::string suite;                   // "VLContainerValidation"
  std::string selector;                // "validateItemCount:variant:"
  std::optional<std::string> variant;  // "variantFolder:"
  std::string title;                   // "Item Count (Folder)"
  std::string category;                // "1", "2" or "<uncategorized>"
  std::string nameForMarlin;           // "VLContainerValidation_validateItemCount:variantFolder:"
  int repetition = 1;                  // 1-based, with --repeat
  size_t order = 0;                    // position in the run's plan; reports list cases in this order
  std::vector<VLAttemptRecord> attempts;

  // Returns a record with the names of `validationCase` and no attempt.
  static VLCaseRecord describing(const VLValidationCase& validationCase);

  // Returns the last attempt's verdict (NotStarted without attempts).
  VLValidationResult verdict() const;
  // Returns the time spent on the case: every attempt's runtime added up.
  double runtime() const;
  // Returns whether the verdict changed between attempts.
  bool isFlaky() const;
};

// Returns "PASSED", "FAILED", "INCONCLUSIVE" (or "NOT STARTED", "RUNNING").
std::string vl_verdictWord(VLValidationResult result);
// Returns how bad a verdict is for a provider: passed 0, inconclusive 1, failed 2; used to
// compare verdicts (the harness's own order ranks inconclusive below failed).
int vl_verdictSeverity(VLValidationResult result);
