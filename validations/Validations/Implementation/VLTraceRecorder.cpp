#include "Validations/VLTraceRecorder.h"

#include "Core/VLException.h"

std::shared_ptr<VLTraceRecorder> VLTraceRecorder::make() {
  return std::shared_ptr<VLTraceRecorder>(new VLTraceRecorder());
}

std::shared_ptr<VLTraceRecorder> VLTraceRecorder::makeBounded(size_t first, size_t last) {
  auto recorder = make();
  recorder->bounded_ = true;
  recorder->first_ = first;
  recorder->last_ = last;
  return recorder;
}

void VLTraceRecorder::keep(VLTraceRecord record) {
  if (!bounded_ || records_.size() < first_) {
    records_.push_back(std::move(record));
    return;
  }
  tail_.push_back(std::move(record));
  if (tail_.size() > last_) {
    tail_.pop_front();
    ++omitted_;
  }
}

void VLTraceRecorder::attach(const std::shared_ptr<VLValidator>& validator) {
  if (!validator) throw VLException("VLTraceRecorder::attach: no validator given");
  // The validator holds the callback, the callback holds the recorder: no cycle.
  auto self = shared_from_this();
  validator->setTraceBlock([self](VLTraceRecord record) {
    self->keep(std::move(record));
  });
}

std::vector<VLTraceRecord> VLTraceRecorder::finish(const std::shared_ptr<VLValidator>& validator) {
  if (!validator) throw VLException("VLTraceRecorder::finish: no validator given");
  // Once it returns, the callback is not called again: nothing writes records_ any more.
  validator->setTraceBlock(nullptr);
  records_.insert(records_.end(), std::make_move_iterator(tail_.begin()), std::make_move_iterator(tail_.end()));
  tail_.clear();
  return std::move(records_);
}
