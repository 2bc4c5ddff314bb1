#include "Validations/VLTraceRecorder.h"

#include "Core/VLException.h"

std::shared_ptr<VLTraceRecorder> VLTraceRecorder::make() {
  return std::shared_ptr<VLTraceRecorder>(new VLTraceRecorder());
}

void VLTraceRecorder::attach(const std::shared_ptr<VLValidator>& validator) {
  if (!validator) throw VLException("VLTraceRecorder::attach: no validator given");
  // The validator holds the callback, the callback holds the recorder: no cycle.
  auto self = shared_from_this();
  validator->setTraceBlock([self](VLTraceRecord record) {
    self->records_.push_back(std::move(record));
  });
}

std::vector<VLTraceRecord> VLTraceRecorder::finish(const std::shared_ptr<VLValidator>& validator) {
  if (!validator) throw VLException("VLTraceRecorder::finish: no validator given");
  // Once it returns, the callback is not called again: nothing writes records_ any more.
  validator->setTraceBlock(nullptr);
  return std::move(records_);
}
