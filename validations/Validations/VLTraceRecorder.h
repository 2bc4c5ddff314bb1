// VLTraceRecorder: keeps the whole trace of one run of one case, for a runner's reports.
//
// attach() makes it the validator's trace callback before the run; finish() after the
// run's completion stops the recording and returns every record in order. The texts are
// kept as written and marked when shown (VLTraceRecord::withMarks with the validator's
// final table, the one the console marks expectations with), so that one item carries one
// mark from its first event on and a run pays for marking only what a report prints. The
// records are written under the validator's trace lock until finish() returns. Made by make(); one run each.
#pragma once

#include <memory>
#include <vector>

#include "Validations/VLTraceRecord.h"
#include "Validations/VLValidator.h"

class VLTraceRecorder : public std::enable_shared_from_this<VLTraceRecorder> {
 public:
  // Makes a recorder with no record.
  static std::shared_ptr<VLTraceRecorder> make();

  // Sets this recorder as the trace callback of `validator` (replacing any other). Throws
  // VLException without a validator.
  void attach(const std::shared_ptr<VLValidator>& validator);
  // Removes the callback from `validator` (records that come later are not kept) and returns
  // the records kept, in order.
  std::vector<VLTraceRecord> finish(const std::shared_ptr<VLValidator>& validator);

  VLTraceRecorder(const VLTraceRecorder&) = delete;
  VLTraceRecorder& operator=(const VLTraceRecorder&) = delete;

 private:
  VLTraceRecorder() = default;

  std::vector<VLTraceRecord> records_;  // written by the trace callback until finish()
};
