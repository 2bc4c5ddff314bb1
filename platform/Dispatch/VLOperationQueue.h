// VLOperationQueue: runs the operations added to it, concurrently, on the shared background
// queue, and lets one observe its list of unfinished operations.
//
// An operation leaves the list when it finishes. Observers are called with the new list
// after every change, one call at a time, in the order of the changes. Made by make();
// neither copyable nor movable; all functions are thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "Dispatch/VLOperation.h"

class VLOperationQueue : public std::enable_shared_from_this<VLOperationQueue> {
 public:
  using OperationList = std::vector<std::shared_ptr<VLOperation>>;
  using Observer = std::function<void(const OperationList& operations)>;

  static std::shared_ptr<VLOperationQueue> make();

  // Adds `operation` to the list and starts it on a background thread.
  void addOperation(std::shared_ptr<VLOperation> operation);
  // Adds a block operation that runs `block`.
  void addOperationWithBlock(std::function<void()> block);

  // Returns the unfinished operations, oldest first.
  OperationList operations() const;

  // Calls `observer` with the current list at once, then after every change, until
  // removeObserver() with the returned token.
  uint64_t observeOperations(Observer observer);
  // Stops calls to the observer of `token`; once this returns the observer is not running
  // and is never called again (unless this is called from inside an observer call).
  void removeObserver(uint64_t token);

  VLOperationQueue(const VLOperationQueue&) = delete;
  VLOperationQueue& operator=(const VLOperationQueue&) = delete;

 private:
  VLOperationQueue() = default;
  void operationFinished(const VLOperation* operation);
  void notifyObservers();

  mutable std::mutex mutex_;
  OperationList operations_;  // guarded by mutex_

  std::recursive_mutex notifyMutex_;  // serialises observer calls
  std::mutex observersMutex_;
  std::map<uint64_t, Observer> observers_;  // guarded by observersMutex_
  uint64_t nextToken_ = 1;                  // guarded by observersMutex_
};

// Waits until `queue` has no unfinished operation, for at most `seconds` (NaN counts as 0).
// Returns true if the queue became empty in time (an empty queue counts as finished at
// once), false on time-out.
bool vl_waitUntilAllOperationsAreFinishedWithTimeout(VLOperationQueue& queue, double seconds);
