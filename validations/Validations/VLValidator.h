// VLValidator: the judge of one run of one validation case.
//
// Every check of a case is a VLExpectation created here. The validator waits for its
// outstanding expectations with a time limit, fails those still open when the time is up,
// reports each settled expectation to the status callback, and reduces all of them to one
// result (the minimum, so Inconclusive outranks Failed). It also owns the item manager
// through which the case acts, the table of marked identifiers, and the random test names.
//
// Threads: all expectation lists, the marks and the result belong to the private serial
// "validation queue". Creating an expectation and every read are synchronous on it;
// settling and registering identifiers are asynchronous. Waiting blocks the caller and must
// not happen on the validation queue; the status callback runs on it and must not call the
// validator's synchronous operations. One validator serves one run. Made by make().
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Core/VLFormat.h"
#include "Core/VLObject.h"
#include "Dispatch/VLDispatchGroup.h"
#include "Dispatch/VLDispatchQueue.h"
#include "Dispatch/VLDispatchTime.h"
#include "Validations/VLExpectation.h"
#include "Validations/VLTraceRecord.h"
#include "Validations/VLValidationResult.h"

class VLValidationLoggingItemManager;

class VLValidator : public VLObject, public std::enable_shared_from_this<VLValidator> {
 public:
  using MarkTable = std::map<std::string, uint64_t>;
  // Called once per settled expectation, on the validation queue, with the expectation and
  // the live table of marks. The table is valid only during the call: copy what you keep.
  using StatusBlock = std::function<void(const std::shared_ptr<VLExpectation>& expectation, const MarkTable& marks)>;
  // Called once per trace record, on the thread where the record happened (a stream's queue,
  // a service thread, the case's thread, the validation queue), one call at a time, in the
  // order the records happened. A small lock makes the calls one at a time: the callback
  // must be short and must not call the validator. Record texts are as the library wrote
  // them; VLTraceRecord::withMarks() marks them (reports use the run's final table of marks).
  using TraceBlock = std::function<void(VLTraceRecord record)>;

  // Makes a validator: no expectations, result NotStarted, default time-out 5 s, not strict,
  // an empty mark table and a new logging item manager pointing back at it.
  static std::shared_ptr<VLValidator> make();

  // Records the start time; the result becomes Running.
  void startValidation();
  // Records the stop time and computes the result over handled, then outstanding, expectations.
  void finishValidation();
  // Returns NotStarted, Running, or after finishValidation() the lowest result of all
  // expectations (Passed when there were none). Safe from any thread.
  VLValidationResult result() const;
  // Seconds between start and finish; meaningful only after finishValidation().
  double runtime() const;

  // Creates an outstanding expectation with the formatted description. `format` is a
  // format: text that may contain "%" (a file name, say) goes through expectationWithText().
  template <class... Args>
  std::shared_ptr<VLExpectation> expectationWithDescription(const char* format, const Args&... args) {
    return expectationWithText(VLFormat(format, args...));
  }
  // Creates an outstanding expectation whose description is `text`, as it stands.
  std::shared_ptr<VLExpectation> expectationWithText(const std::string& text);
  // Records an inconclusive expectation whose description is the formatted comment (plain
  // text: markInconclusiveWithCommentText()).
  template <class... Args>
  void markInconclusiveWithComment(const char* format, const Args&... args) {
    markInconclusiveWithCommentText(VLFormat(format, args...));
  }
  void markInconclusiveWithCommentText(const std::string& text);
  // Records a failed expectation whose description is the formatted text, with no comment and
  // no error (plain text: failWithCommentText()).
  template <class... Args>
  void failWithComment(const char* format, const Args&... args) {
    failWithCommentText(VLFormat(format, args...));
  }
  void failWithCommentText(const std::string& text);

  // Waits for the outstanding expectations for defaultTimeout() seconds.
  void waitForExpectations();
  // Waits at most `seconds` (NaN counts as 0), including for expectations made while it waits;
  // then fails every expectation still open at that deadline with a code-2 error "Timed out
  // (<seconds>s)". When it returns, nothing is outstanding.
  void waitForExpectationsWithTimeout(double seconds);
  // Settles `expectation` on the validation queue, later; called by the expectation.
  void fulfillExpectation(const std::shared_ptr<VLExpectation>& expectation);

  // Returns whether any settled expectation has failed (outstanding ones are not looked at).
  bool expectationsHaveFailed();
  // Returns a copy of the settled expectations, in the order they were settled.
  std::vector<std::shared_ptr<VLExpectation>> handledExpectations();

  // Returns the item manager that turns every scheduled action into an expectation.
  std::shared_ptr<VLValidationLoggingItemManager> itemManager() const { return itemManager_; }

  // Returns a copy of the table from identifier or name to mark number.
  MarkTable markedIdentifiers();
  // Gives every string of `identifiers` one common mark: the mark of the first one already
  // marked, else a new one. Asynchronous; a later markedIdentifiers() from the same thread sees it.
  void registerIdentifiers(std::vector<std::string> identifiers);
  // Returns four random capitalised words joined together, e.g. "AlabamaCarbonSixZulu".
  std::string happyRandomName();
  // Returns "ValidationFolder-<name>" for a folder or "Validation-<name>" for a file.
  std::string newFilenameForDirectory(bool isDirectory);

  // Sets or returns the status callback (see StatusBlock); none at creation. Not to be called
  // from inside the callback itself.
  void setStatusBlock(StatusBlock block);
  StatusBlock statusBlock();
  // Sets or returns the trace callback (see TraceBlock); none at creation, and then the
  // library builds no record at all. Set by a runner before the run. While set, the validator
  // also listens to the current platform's provider facts and records each as a `provider`
  // record. After setTraceBlock(nullptr) returns, the callback is not called again. Not to be
  // called from inside the callback itself.
  void setTraceBlock(TraceBlock block);
  TraceBlock traceBlock();
  // Returns whether a trace callback is set; a cheap test for the pieces that write records.
  // Safe from any thread.
  bool isTracing() const { return tracing_.load(std::memory_order_relaxed); }
  // Stamps `record` with the seconds since startValidation() and hands it to the trace
  // callback at once, after every record handed over before it (`t` never goes back). Does
  // nothing when no callback is set. Safe from any thread, the validation queue included.
  void trace(VLTraceRecord record);
  // Returns a new number, unique within this validator, that pairs two records of one
  // action or one check. Safe from any thread.
  uint64_t nextTraceID() { return nextTraceID_.fetch_add(1, std::memory_order_relaxed); }

  // Whether suites make their stricter optional checks; false at creation. The validator
  // itself never reads it. Safe from any thread.
  bool strict() const { return strict_.load(); }
  void setStrict(bool strict) { strict_.store(strict); }
  // What a validator waits unless told otherwise, seconds; every runner's default too.
  static constexpr double kDefaultTimeout = 5.0;
  // The wait of waitForExpectations() and the default of cursor checks, in seconds:
  // kDefaultTimeout at creation; NaN is stored as 0. Safe from any thread.
  double defaultTimeout() const { return defaultTimeout_.load(); }
  void setDefaultTimeout(double seconds) { defaultTimeout_.store(vl_timeoutOrZero(seconds)); }

  // Returns one line "\t<description>\n" per settled expectation. Read after the run only.
  std::string description() const override;

 private:
  VLValidator();
  void recordSettled(const std::string& text, VLValidationResult result);
  void settle(const std::shared_ptr<VLExpectation>& expectation);

  const std::shared_ptr<VLDispatchQueue> validationQueue_;
  const std::shared_ptr<VLDispatchGroup> expectationGroup_;
  std::shared_ptr<VLValidationLoggingItemManager> itemManager_;  // set once in make()

  // Owned by validationQueue_.
  std::vector<std::shared_ptr<VLExpectation>> outstandingExpectations_;
  std::vector<std::shared_ptr<VLExpectation>> handledExpectations_;
  MarkTable markedIdentifiers_;
  uint64_t highestMarkedIdentifier_ = 0;
  StatusBlock statusBlock_;

  std::atomic<double> startTime_{0};
  std::atomic<double> stopTime_{0};
  std::atomic<VLValidationResult> result_{VLValidationResultNotStarted};
  std::atomic<bool> strict_{false};
  std::atomic<double> defaultTimeout_{kDefaultTimeout};
  // The trace callback is called from many threads; a queue hop per record would cost a
  // thread wake-up each, so one small lock serialises the calls instead.
  std::mutex traceMutex_;
  TraceBlock traceBlock_;                            // guarded by traceMutex_
  std::shared_ptr<void> providerFactsSubscription_;  // guarded by traceMutex_; while tracing
  std::atomic<bool> tracing_{false};
  std::atomic<uint64_t> nextTraceID_{1};
};
