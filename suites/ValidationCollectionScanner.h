// ValidationCollectionScanner: walks a provider's item tree breadth-wise over live item
// collections, at most three observing at once, and reports every item it finds as a
// container or a leaf, together with the container that enumerated it.
//
// Each queued collection is read once, at its first delivery of items, and stopped straight
// after; containers found are queued by the caller (through containerItemFound). Past 500
// items the walk is cut short: every further delivery finishes all active collections.
//
// Lifetime and threads: made by make() and owned by whoever walks; collections hold it
// weakly as their delegate, so dropping the scanner ends every callback. Deliveries arrive
// on the collections' own working queues and are handled one at a time: a delivery's whole
// step (its items, the count, the finishing) ends before another delivery's step begins, so
// finished() is called only once every delivered item has been reported. The bookkeeping has
// its own mutex, never held while a callback of the caller runs. The callbacks may run on any
// collection's queue and may queue further collections, but must not wait for another
// collection's delivery.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "Vaultline/VLItemCollection.h"
#include "Vaultline/VLEmptyCollectionDelegate.h"

class ValidationCollectionScanner : public VLEmptyCollectionDelegate,
                                    public std::enable_shared_from_this<ValidationCollectionScanner> {
 public:
  using ItemFound = std::function<void(const VLItemRef& container, const VLItemRef& item)>;
  using Finished = std::function<void()>;

  // The number of collections observing at once, and the item count past which the walk stops.
  static constexpr size_t kMaximumActiveCollections = 3;
  static constexpr uint64_t kItemLimit = 500;

  static std::shared_ptr<ValidationCollectionScanner> make();

  // Queues `collection`, which enumerates `container`, and starts it when fewer than three
  // collections are observing.
  void addCollectionToScan(std::shared_ptr<VLItemCollection> collection, VLItemRef container);
  // Starts the first pending collection if fewer than three are observing (one per call).
  void makeCollectionActiveIfNecessary();
  // Stops `collection` (asynchronously, on its working queue), counts it finished, lets the
  // next pending one start, and calls finished() when none is observing any more.
  void collectionIsFinished(const std::shared_ptr<VLItemCollection>& collection);
  // Finishes every observing collection; pending ones stay queued.
  void stopAllCollections();

  // Called for each found item that is a container (when set), else for the leaf callback.
  void setContainerItemFound(ItemFound callback);
  // Called for each other found item (and for containers when no container callback is set).
  void setLeafItemFound(ItemFound callback);
  // Called whenever a collection finishes while none is observing. The cut-off past 500
  // items finishes the delivering collection twice, so this may be called twice.
  void setFinished(Finished callback);

  // Returns how many items all deliveries have held so far.
  uint64_t totalItemsSeen() const;
  // Returns how many collections observe now, wait, and have finished (a collection cut off
  // by the item limit counts twice).
  size_t activeCollectionCount() const;
  size_t pendingCollectionCount() const;
  size_t finishedCollectionCount() const;

  // VLItemCollectionDelegate: a reload delivers the items; an error finishes the
  // collection; a batch only replays; the rest is ignored.
  void dataForCollectionShouldBeReloaded(VLItemCollection& collection) override;
  void collectionDidEncounterError(VLItemCollection& collection, const VLErrorRef& error) override;
  void collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection, const ReplayBlock& replay) override;

  ValidationCollectionScanner(const ValidationCollectionScanner&) = delete;
  ValidationCollectionScanner& operator=(const ValidationCollectionScanner&) = delete;

 private:
  ValidationCollectionScanner() = default;
  // Takes the next pending collection into the active list, under the lock; null when none.
  std::shared_ptr<VLItemCollection> activateNextLocked();
  void start(const std::shared_ptr<VLItemCollection>& collection);

  // Held for the whole handling of one delivery or error; taken before mutex_.
  std::mutex deliveryMutex_;
  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<VLItemCollection>> finishedCollections_;  // guarded by mutex_
  std::vector<std::shared_ptr<VLItemCollection>> activeCollections_;    // guarded by mutex_
  std::vector<std::shared_ptr<VLItemCollection>> pendingCollections_;   // guarded by mutex_
  std::map<const VLItemCollection*, VLItemRef> containers_;             // guarded by mutex_
  uint64_t totalItemsSeen_ = 0;                                         // guarded by mutex_
  ItemFound containerItemFound_;                                        // guarded by mutex_
  ItemFound leafItemFound_;                                             // guarded by mutex_
  Finished finished_;                                                   // guarded by mutex_
};
