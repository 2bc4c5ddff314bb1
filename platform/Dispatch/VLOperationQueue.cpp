#include "Dispatch/VLOperationQueue.h"

#include <algorithm>

#include "Dispatch/VLBackgroundQueue.h"
#include "Dispatch/VLSemaphore.h"

std::shared_ptr<VLOperationQueue> VLOperationQueue::make() {
  return std::shared_ptr<VLOperationQueue>(new VLOperationQueue());
}

void VLOperationQueue::addOperation(std::shared_ptr<VLOperation> operation) {
  {
    std::lock_guard lock(mutex_);
    operations_.push_back(operation);
  }
  notifyObservers();
  std::weak_ptr<VLOperationQueue> weakSelf = shared_from_this();
  const VLOperation* key = operation.get();
  operation->whenFinished([weakSelf, key] {
    if (auto self = weakSelf.lock()) self->operationFinished(key);
  });
  VLBackgroundQueue::shared().async([operation] { operation->start(); });
}

void VLOperationQueue::addOperationWithBlock(std::function<void()> block) {
  addOperation(VLBlockOperation::make(std::move(block)));
}

VLOperationQueue::OperationList VLOperationQueue::operations() const {
  std::lock_guard lock(mutex_);
  return operations_;
}

void VLOperationQueue::operationFinished(const VLOperation* operation) {
  {
    std::lock_guard lock(mutex_);
    auto found = std::find_if(operations_.begin(), operations_.end(),
                              [operation](const auto& candidate) { return candidate.get() == operation; });
    if (found == operations_.end()) return;
    operations_.erase(found);
  }
  notifyObservers();
}

uint64_t VLOperationQueue::observeOperations(Observer observer) {
  // Registering inside the notification lock makes the first call the one with the list as
  // it is now; no change can be reported before it.
  std::lock_guard notifyLock(notifyMutex_);
  uint64_t token;
  {
    std::lock_guard lock(observersMutex_);
    token = nextToken_++;
    observers_[token] = observer;
  }
  observer(operations());
  return token;
}

void VLOperationQueue::removeObserver(uint64_t token) {
  // Waiting out a notification in progress means the observer is never called after this
  // returns, so it may capture things that die right after.
  std::lock_guard notifyLock(notifyMutex_);
  std::lock_guard lock(observersMutex_);
  observers_.erase(token);
}

void VLOperationQueue::notifyObservers() {
  std::lock_guard notifyLock(notifyMutex_);
  std::map<uint64_t, Observer> observers;
  {
    std::lock_guard lock(observersMutex_);
    observers = observers_;
  }
  OperationList current = operations();
  for (auto& [token, observer] : observers) observer(current);
}

bool vl_waitUntilAllOperationsAreFinishedWithTimeout(VLOperationQueue& queue, double seconds) {
  auto finished = VLSemaphore::make(0);
  uint64_t token = queue.observeOperations([finished](const VLOperationQueue::OperationList& operations) {
    if (operations.empty()) finished->signal();
  });
  bool inTime = finished->wait(seconds);
  queue.removeObserver(token);
  return inTime;
}
