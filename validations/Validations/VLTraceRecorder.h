// VLTraceRecorder: keeps the trace of one run of one case, for a runner's reports: whole, or
// bounded to its first and last records so that a case that sees a hundred thousand events
// costs no more memory than one that sees a thousand.
//
// attach() makes it the validator's trace callback before the run; finish() after the
// run's completion stops the recording and returns every record in order. The texts are
// kept as written and marked when shown (VLTraceRecord::withMarks with the validator's
// final table, the one the console marks expectations with), so that one item carries one
// mark from its first event on and a run pays for marking only what a report prints. The
// records are written under the validator's trace lock until finish() returns. Made by make(); one run each.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "Validations/VLTraceRecord.h"
#include "Validations/VLValidator.h"

class VLTraceRecorder : public std::enable_shared_from_this<VLTraceRecorder> {
 public:
  // Makes a recorder with no record that keeps every record.
  static std::shared_ptr<VLTraceRecorder> make();
  // Makes a recorder that keeps the first `first` and the last `last` records, and counts
  // those in between (omitted()).
  static std::shared_ptr<VLTraceRecorder> makeBounded(size_t first, size_t last);

  // Sets this recorder as the trace callback of `validator` (replacing any other). Throws
  // VLException without a validator.
  void attach(const std::shared_ptr<VLValidator>& validator);
  // Removes the callback from `validator` (records that come later are not kept) and returns
  // the records kept, in order (the first ones, then the last ones).
  std::vector<VLTraceRecord> finish(const std::shared_ptr<VLValidator>& validator);
  // After finish(): how many records were left out, after the first `first` kept.
  size_t omitted() const { return omitted_; }

  VLTraceRecorder(const VLTraceRecorder&) = delete;
  VLTraceRecorder& operator=(const VLTraceRecorder&) = delete;

 private:
  VLTraceRecorder() = default;
  void keep(VLTraceRecord record);

  // Written by the trace callback until finish().
  bool bounded_ = false;
  size_t first_ = 0, last_ = 0;
  std::vector<VLTraceRecord> records_;  // the first records (all of them when not bounded)
  std::deque<VLTraceRecord> tail_;      // bounded: the last records so far
  size_t omitted_ = 0;
};
