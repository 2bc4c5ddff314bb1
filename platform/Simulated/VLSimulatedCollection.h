// VLSimulatedCollection: a live collection of the simulated provider: the children of one
// container, the working set, or every item of the provider.
//
// startObserving() registers it with the store, which posts a first reload and, after
// every change, the new item list; each posting reaches the delegate on the working queue
// after the collection latency, as a reload or as one batch update (deletions at rows of
// the previous list, insertions, updates and moves at rows of the new one), followed by
// collectionDidUpdateObservedItem when the container itself changed. stopObserving() ends
// delivery: no callback starts after it returns. Thread-safe; made by make().
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Core/VLError.h"
#include "Simulated/VLSimulatedStore.h"
#include "Simulated/VLSimulatedTimer.h"
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

  // For the store (under its lock): sorts `entries` and schedules their delivery; none
  // means the scope is gone, which is delivered as an error once. A change that leaves this
  // collection's entries and observed item as they were last posted is not posted at all.
  void post(std::optional<std::vector<VLSimulatedStore::Entry>> entries,
            std::optional<VLSimulatedStore::Entry> observed, bool reload);

 private:
  struct Posting {
    uint64_t generation = 0;
    bool reload = false;
    std::optional<std::vector<VLSimulatedStore::Entry>> entries;
    std::optional<VLSimulatedStore::Entry> observed;
  };

  VLSimulatedCollection(std::shared_ptr<VLSimulatedStore> store, Scope scope, std::shared_ptr<VLSimulatedTimer> timer)
      : store_(std::move(store)), scope_(std::move(scope)), timer_(std::move(timer)) {}
  void deliver(const Posting& posting);
  // Returns `entries` in this collection's order (under the store's lock).
  std::vector<VLSimulatedStore::Entry> sortedEntries(const std::vector<VLSimulatedStore::Entry>& entries);

  const std::shared_ptr<VLSimulatedStore> store_;
  const Scope scope_;
  const std::shared_ptr<VLSimulatedTimer> timer_;
  std::atomic<bool> observing_{false};

  // What post() last scheduled, unsorted (the store lists entries in a fixed order), so that
  // a change elsewhere in the provider costs this collection one pass and no sorting.
  std::optional<std::vector<VLSimulatedStore::Entry>> lastPosted_;  // guarded by the store's lock
  uint64_t lastPostedObservedRevision_ = 0;                         // guarded by the store's lock

  // Held while a callback runs, so that stopObserving() can wait it out (recursive: a
  // delegate may stop the collection from inside a callback).
  std::recursive_mutex deliveryMutex_;

  mutable std::mutex mutex_;
  uint64_t generation_ = 0;                         // guarded by mutex_: bumped by start and stop
  std::vector<VLSortDescriptor> descriptors_;       // guarded by mutex_
  std::vector<VLSimulatedStore::Entry> delivered_;  // guarded by mutex_: the list the delegate last saw
  uint64_t observedRevision_ = 0;                   // guarded by mutex_
  bool failed_ = false;                             // guarded by mutex_: the error was delivered
};
