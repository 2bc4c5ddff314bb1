#include "Dispatch/VLSemaphore.h"

std::shared_ptr<VLSemaphore> VLSemaphore::make(int64_t initial) {
  return std::shared_ptr<VLSemaphore>(new VLSemaphore(initial));
}

void VLSemaphore::signal() {
  std::lock_guard lock(mutex_);
  ++count_;
  positive_.notify_one();
}

bool VLSemaphore::wait(double seconds) {
  std::unique_lock lock(mutex_);
  if (!positive_.wait_until(lock, vl_deadlineAfter(seconds), [this] { return count_ > 0; })) return false;
  --count_;
  return true;
}
