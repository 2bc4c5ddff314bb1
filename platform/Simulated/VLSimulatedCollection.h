// VLSimulatedCollection: a live collection of the simulated provider: the children of one
// container, the working set, or every item of the provider.
//
// startObserving() registers it with the store, which posts a first reload and, after
// every change, the new item list; each posting reaches the delegate on the working queue
// after the collection latency, as a reload or as one batch update (deletions at rows of
// the previous list, insertions, updates and moves at rows of the new one, worked out from
// the changed members alone by a VLCollectionModel), followed by
// collectionDidUpdateObservedItem when the container itself changed. stopObserving() ends
// delivery: no callback starts after it returns. Thread-safe; made by make().
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Core/VLError.h"
#include "Simulated/VLSimulatedStore.h"
#include "Simulated/VLSimulatedTimer.h"
#include "Vaultline/VLCollectionModel.h"
#include "Vaultline/VLItemCollection.h"

class VLSimulatedCollection : public VLItemCollection {
 public:
  enum class ScopeKind { Container, WorkingSet, Provider, Unavailable };
  struct Scope {
    ScopeKind kind = ScopeKind::Unavailable;
    std::string identifier;  // the container, for ScopeKind::Container
    VLErrorRef error;        // why the collection cannot enumerate, for ScopeKind::Unavailable
  };

  // Makes a collection of `scope` whose deliveries wait out the collection latency on `timer`.
  static std::shared_ptr<VLSimulatedCollection> make(std::shared_ptr<VLSimulatedStore> store, Scope scope,
                                                     std::shared_ptr<VLSimulatedTimer> timer);

  void startObserving() override;
  void stopObserving() override;
  std::vector<VLItemRef> items() const override;
  void reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) override;

  const Scope& scope() const { return scope_; }
  bool isObserving() const { return observing_.load(); }

  // For the store (under its lock): schedules the delivery of `entries`, the scope's whole
  // listing (sorted here for a reload; compared with what was last posted otherwise); none
  // means the scope is gone, which is delivered as an error once. A change that leaves this
  // collection's entries and observed item as they were last posted is not posted at all.
  void post(std::optional<std::vector<VLSimulatedStore::Entry>> entries,
            std::optional<VLSimulatedStore::Entry> observed, bool reload);
  // For the store (under its lock), once a listing has been posted: schedules only what
  // changed among the `candidates` (entries that may be new or different) and the `gone`
  // identifiers (which may have been members), at a cost in what they name, not in the
  // scope's size. Posts nothing when none of them changed.
  void postChanges(std::vector<VLSimulatedStore::Entry> candidates, const std::vector<std::string>& gone,
                   std::optional<VLSimulatedStore::Entry> observed = std::nullopt);
  // Whether a listing has been posted since observing began (under the store's lock).
  bool hasPosted() const { return posted_; }

 private:
  // One delivery: the whole list, the changes since the previous one, or the scope's end.
  struct Posting {
    enum class Kind { Reload, Changes, Failure };
    uint64_t generation = 0;
    Kind kind = Kind::Failure;
    std::vector<VLItemRef> items;               // Reload: every member in order; Changes: new or changed members
    std::vector<std::string> deleted;           // Changes: identifiers that left
    std::vector<VLSortDescriptor> descriptors;  // Reload: the order of `items`
    std::optional<VLSimulatedStore::Entry> observed;
  };

  VLSimulatedCollection(std::shared_ptr<VLSimulatedStore> store, Scope scope, std::shared_ptr<VLSimulatedTimer> timer)
      : store_(std::move(store)), scope_(std::move(scope)), timer_(std::move(timer)) {}
  // Records what the delivery changes and hands it to the timer (under the store's lock).
  void schedule(Posting posting);
  void deliver(const Posting& posting);

  const std::shared_ptr<VLSimulatedStore> store_;
  const Scope scope_;
  const std::shared_ptr<VLSimulatedTimer> timer_;
  std::atomic<bool> observing_{false};

  // What was last posted, by identifier (each key views its own entry's identifier), so that
  // a change elsewhere in the provider costs this collection nothing, and one of its members
  // costs one look-up. Guarded by the store's lock.
  std::unordered_map<std::string_view, VLSimulatedStore::Entry> lastPosted_;
  bool posted_ = false;                     // guarded by the store's lock
  uint64_t lastPostedObservedRevision_ = 0;  // guarded by the store's lock

  // Held while a callback runs, so that stopObserving() can wait it out (recursive: a
  // delegate may stop the collection from inside a callback).
  std::recursive_mutex deliveryMutex_;

  mutable std::mutex mutex_;
  uint64_t generation_ = 0;                    // guarded by mutex_: bumped by start and stop
  std::vector<VLSortDescriptor> descriptors_;  // guarded by mutex_
  VLCollectionModel delivered_;                // guarded by mutex_: the list the delegate last saw
  uint64_t observedRevision_ = 0;              // guarded by mutex_
  bool failed_ = false;                        // guarded by mutex_: the error was delivered
};
