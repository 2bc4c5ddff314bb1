// VLTraceRecorder: keeps the whole trace of one run of one case, for a runner's reports.
//
// attach() makes it the validator's trace callback before the run; finish() after the
// run's completion stops the recording and returns every record in order, its identifiers
// and names marked with the validator's final table of marks (the table the console marks
// expectations with), so one item carries one mark from its first event on. The records
// belong to the validator's queue until finish() returns. Made by make(); one run each.
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
  // the records kept, marked with the validator's marks as they stand now.
  std::vector<VLTraceRecord> finish(const std::shared_ptr<VLValidator>& validator);

  VLTraceRecorder(const VLTraceRecorder&) = delete;
  VLTraceRecorder& operator=(const VLTraceRecorder&) = delete;

 private:
  VLTraceRecorder() = default;

  std::vector<VLTraceRecord> records_;  // owned by the validator's queue while attached
};
