#include "Dispatch/VLOperation.h"

void VLOperation::start() {
  {
    std::lock_guard lock(mutex_);
    if (started_) return;
    started_ = true;
  }
  auto keepAlive = shared_from_this();
  try {
    main();
  } catch (...) {
    // Whoever waits for the operation hears of the failure instead of waiting for ever, and
    // the operation no longer holds its queue non-empty.
    bool reported = reportFailure(VLError::makeWithCurrentException(className()));
    finish();
    if (!reported) throw;
    return;
  }
  if (!isAsynchronous()) finish();
}

bool VLOperation::isExecuting() const {
  std::lock_guard lock(mutex_);
  return started_ && !finished_;
}

bool VLOperation::isFinished() const {
  std::lock_guard lock(mutex_);
  return finished_;
}

void VLOperation::whenFinished(std::function<void()> observer) {
  {
    std::lock_guard lock(mutex_);
    if (!finished_) {
      observers_.push_back(std::move(observer));
      return;
    }
  }
  observer();
}

void VLOperation::finish() {
  std::vector<std::function<void()>> observers;
  {
    std::lock_guard lock(mutex_);
    if (finished_) return;
    finished_ = true;
    observers.swap(observers_);
  }
  for (auto& observer : observers) observer();
}

std::shared_ptr<VLBlockOperation> VLBlockOperation::make(std::function<void()> block) {
  return std::shared_ptr<VLBlockOperation>(new VLBlockOperation(std::move(block)));
}
