#include "Vaultline/VLActionOperation.h"

#include "Vaultline/VLItemManager.h"

VLActionOperation::ActionCompletionBlock VLActionOperation::actionCompletionBlock() const {
  std::lock_guard lock(mutex_);
  return completionBlock_;
}

void VLActionOperation::setActionCompletionBlock(ActionCompletionBlock block) {
  std::lock_guard lock(mutex_);
  completionBlock_ = std::move(block);
}

bool VLActionOperation::expectedToFail() const {
  std::lock_guard lock(mutex_);
  return expectedToFail_;
}

void VLActionOperation::setExpectedToFail(bool expected) {
  std::lock_guard lock(mutex_);
  expectedToFail_ = expected;
}

std::string VLActionOperation::description() const { return className() + "(" + argumentsDescription() + ")"; }

bool VLActionOperation::isCompleted() const {
  std::lock_guard lock(mutex_);
  return completed_;
}

void VLActionOperation::completeWithError(VLErrorRef error) {
  ActionCompletionBlock block;
  {
    std::lock_guard lock(mutex_);
    if (completed_) return;
    completed_ = true;
  }
  auto keepAlive = shared_from_this();
  callOwnCompletion(error);
  block = actionCompletionBlock();
  if (block) block(error);
  finish();
}

void VLActionOperation::main() {
  VLItemManager::defaultManager()->scheduleAction(std::static_pointer_cast<VLActionOperation>(shared_from_this()));
}

bool VLActionOperation::reportFailure(const VLErrorRef& error) {
  completeWithError(error);
  return true;
}

std::string VLActionOperation::describeItems(const std::vector<VLItemRef>& items) {
  std::string out;
  for (const auto& item : items) {
    if (!out.empty()) out += ", ";
    out += item ? item->filename() + " id:" + item->itemIdentifier() : "(null)";
  }
  return "[" + out + "]";
}
