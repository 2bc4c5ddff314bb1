#include "Validations/VLTraceRecorder.h"

#include "Core/VLException.h"
#include "Validations/VLMarkAnnotator.h"

std::shared_ptr<VLTraceRecorder> VLTraceRecorder::make() {
  return std::shared_ptr<VLTraceRecorder>(new VLTraceRecorder());
}

void VLTraceRecorder::attach(const std::shared_ptr<VLValidator>& validator) {
  if (!validator) throw VLException("VLTraceRecorder::attach: no validator given");
  // The validator holds the callback, the callback holds the recorder: no cycle.
  auto self = shared_from_this();
  validator->setTraceBlock([self](const VLTraceRecord& record, const VLValidator::MarkTable&) {
    self->records_.push_back(record);
  });
}

std::vector<VLTraceRecord> VLTraceRecorder::finish(const std::shared_ptr<VLValidator>& validator) {
  if (!validator) throw VLException("VLTraceRecorder::finish: no validator given");
  const auto marks = validator->markedIdentifiers();
  // Synchronous on the validator's queue: once it returns, nothing writes records_ any more.
  validator->setTraceBlock(nullptr);
  const VLMarkAnnotator annotator(marks);
  std::vector<VLTraceRecord> marked;
  marked.reserve(records_.size());
  for (const auto& record : records_) marked.push_back(record.withMarks(annotator));
  records_.clear();
  return marked;
}
