#include "ValidationCollectionScanner.h"

#include <algorithm>

#include "Core/VLException.h"

std::shared_ptr<ValidationCollectionScanner> ValidationCollectionScanner::make() {
  return std::shared_ptr<ValidationCollectionScanner>(new ValidationCollectionScanner());
}

void ValidationCollectionScanner::addCollectionToScan(std::shared_ptr<VLItemCollection> collection,
                                                      VLItemRef container) {
  if (!collection) throw VLException("addCollectionToScan: no collection given");
  {
    std::lock_guard lock(mutex_);
    containers_[collection.get()] = std::move(container);
    pendingCollections_.push_back(std::move(collection));
  }
  makeCollectionActiveIfNecessary();
}

std::shared_ptr<VLItemCollection> ValidationCollectionScanner::activateNextLocked() {
  if (activeCollections_.size() >= kMaximumActiveCollections || pendingCollections_.empty()) return nullptr;
  auto next = pendingCollections_.front();
  pendingCollections_.erase(pendingCollections_.begin());
  activeCollections_.push_back(next);
  return next;
}

void ValidationCollectionScanner::start(const std::shared_ptr<VLItemCollection>& collection) {
  collection->setDelegate(weak_from_this());
  collection->workingQueue()->async([collection] { collection->startObserving(); });
}

void ValidationCollectionScanner::makeCollectionActiveIfNecessary() {
  std::shared_ptr<VLItemCollection> next;
  {
    std::lock_guard lock(mutex_);
    next = activateNextLocked();
  }
  if (next) start(next);
}

void ValidationCollectionScanner::collectionIsFinished(const std::shared_ptr<VLItemCollection>& collection) {
  collection->workingQueue()->async([collection] { collection->stopObserving(); });
  std::shared_ptr<VLItemCollection> next;
  Finished finished;
  {
    std::lock_guard lock(mutex_);
    finishedCollections_.push_back(collection);
    activeCollections_.erase(std::remove(activeCollections_.begin(), activeCollections_.end(), collection),
                             activeCollections_.end());
    next = activateNextLocked();
    if (activeCollections_.empty()) finished = finished_;
  }
  if (next) start(next);
  if (finished) finished();
}

void ValidationCollectionScanner::stopAllCollections() {
  std::vector<std::shared_ptr<VLItemCollection>> active;
  {
    std::lock_guard lock(mutex_);
    active = activeCollections_;
  }
  for (const auto& collection : active) collectionIsFinished(collection);
}

void ValidationCollectionScanner::dataForCollectionShouldBeReloaded(VLItemCollection& collection) {
  // Another delivery that passed the limit could otherwise finish the walk while this one is
  // still reporting its items.
  std::lock_guard delivery(deliveryMutex_);
  auto self = collection.shared_from_this();
  VLItemRef container;
  ItemFound containerFound, leafFound;
  {
    std::lock_guard lock(mutex_);
    // A collection is read once: one finished before its delivery ran (its stop is still
    // queued behind it) is not read at all.
    if (std::find(activeCollections_.begin(), activeCollections_.end(), self) == activeCollections_.end()) return;
    if (auto found = containers_.find(&collection); found != containers_.end()) container = found->second;
    containerFound = containerItemFound_;
    leafFound = leafItemFound_;
  }
  auto items = collection.items();
  for (const auto& item : items) {
    if (item->isContainer() && containerFound) {
      containerFound(container, item);
    } else if (leafFound) {
      leafFound(container, item);
    }
  }
  bool pastLimit = false;
  {
    std::lock_guard lock(mutex_);
    totalItemsSeen_ += items.size();
    pastLimit = totalItemsSeen_ > kItemLimit;
  }
  // Past the limit this collection is finished twice (once among all active ones, once on
  // its own); finished() may then be called twice, which the walk's waiters tolerate.
  if (pastLimit) stopAllCollections();
  collectionIsFinished(self);
}

void ValidationCollectionScanner::collectionDidEncounterError(VLItemCollection& collection, const VLErrorRef&) {
  std::lock_guard delivery(deliveryMutex_);
  auto self = collection.shared_from_this();
  {
    std::lock_guard lock(mutex_);
    if (std::find(activeCollections_.begin(), activeCollections_.end(), self) == activeCollections_.end()) return;
  }
  collectionIsFinished(self);
}

void ValidationCollectionScanner::collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection&,
                                                                                 const ReplayBlock& replay) {
  replay(*this);
}

void ValidationCollectionScanner::setContainerItemFound(ItemFound callback) {
  std::lock_guard lock(mutex_);
  containerItemFound_ = std::move(callback);
}

void ValidationCollectionScanner::setLeafItemFound(ItemFound callback) {
  std::lock_guard lock(mutex_);
  leafItemFound_ = std::move(callback);
}

void ValidationCollectionScanner::setFinished(Finished callback) {
  std::lock_guard lock(mutex_);
  finished_ = std::move(callback);
}

uint64_t ValidationCollectionScanner::totalItemsSeen() const {
  std::lock_guard lock(mutex_);
  return totalItemsSeen_;
}

size_t ValidationCollectionScanner::activeCollectionCount() const {
  std::lock_guard lock(mutex_);
  return activeCollections_.size();
}

size_t ValidationCollectionScanner::pendingCollectionCount() const {
  std::lock_guard lock(mutex_);
  return pendingCollections_.size();
}

size_t ValidationCollectionScanner::finishedCollectionCount() const {
  std::lock_guard lock(mutex_);
  return finishedCollections_.size();
}
