#include "Dispatch/VLDispatchGroup.h"

#include "Core/VLLog.h"

std::shared_ptr<VLDispatchGroup> VLDispatchGroup::make() {
  return std::shared_ptr<VLDispatchGroup>(new VLDispatchGroup());
}

void VLDispatchGroup::enter() {
  std::lock_guard lock(mutex_);
  ++count_;
}

void VLDispatchGroup::leave() {
  std::lock_guard lock(mutex_);
  VL_ASSERT(count_ > 0, "group left more often than entered");
  if (--count_ == 0) emptied_.notify_all();
}

bool VLDispatchGroup::wait(double seconds) {
  std::unique_lock lock(mutex_);
  return emptied_.wait_until(lock, vl_deadlineAfter(seconds), [this] { return count_ == 0; });
}

int64_t VLDispatchGroup::count() {
  std::lock_guard lock(mutex_);
  return count_;
}
