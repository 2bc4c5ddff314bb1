#include "Vaultline/VLItemCollection.h"

void VLItemCollection::setDelegate(std::weak_ptr<VLItemCollectionDelegate> delegate) {
  delegate_.set(std::move(delegate));
}

std::shared_ptr<VLItemCollectionDelegate> VLItemCollection::delegate() const { return delegate_.get().lock(); }

void VLItemCollection::setWorkingQueue(std::shared_ptr<VLDispatchQueue> queue) {
  std::lock_guard lock(mutex_);
  workingQueue_ = std::move(queue);
}

std::shared_ptr<VLDispatchQueue> VLItemCollection::workingQueue() const {
  std::lock_guard lock(mutex_);
  if (!workingQueue_) workingQueue_ = VLDispatchQueue::make("collection working queue");
  return workingQueue_;
}
