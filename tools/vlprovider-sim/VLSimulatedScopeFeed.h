// VLSimulatedScopeFeed: one scope of the simulated provider as the provider kit's sink wants
// it. It observes a platform collection, so every quirk the simulated collections have reaches
// the host unchanged: the first enumeration is the sink's answer, every later batch becomes
// item-level changes (the items whose snapshot is new or changed, the identifiers that left),
// worked out from the batch's rows in time linear in the rows it names, the container's own
// changes the observed item, and an enumeration failure the sink's failure.
//
// Callbacks arrive on the feed's own serial queue. Made by start(); stop() ends it.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ProviderKit/VLProviderStore.h"
#include "Vaultline/VLItemCollection.h"
#include "Vaultline/VLItemCollectionDelegate.h"

class VLSimulatedScopeFeed : public VLProviderScopeFeed,
                             public VLItemCollectionDelegate,
                             public std::enable_shared_from_this<VLSimulatedScopeFeed> {
 public:
  // Starts observing `collection` for `sink`.
  static std::shared_ptr<VLSimulatedScopeFeed> start(std::shared_ptr<VLProviderScopeSink> sink,
                                                     std::shared_ptr<VLItemCollection> collection);
  // Stops observing; nothing is reported afterwards.
  void stop() override;

  void dataForCollectionShouldBeReloaded(VLItemCollection& collection) override;
  // The index-path callbacks of a batch's replay: they note the rows that changed.
  void collectionDidInsertItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths& paths) override;
  void collectionDidDeleteItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths& paths) override;
  void collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection&, const VLIndexPaths& paths,
                                                   const std::vector<std::set<std::string>>&) override;
  void collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection&, const VLIndexPaths& from,
                                                        const VLIndexPaths& to) override;
  void collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection, const ReplayBlock&) override;
  void collectionDidEncounterError(VLItemCollection& collection, const VLErrorRef& error) override;
  void collectionDidUpdateObservedItem(VLItemCollection& collection, const VLItemRef& item) override;

 private:
  VLSimulatedScopeFeed(std::shared_ptr<VLProviderScopeSink> sink, std::shared_ptr<VLItemCollection> collection)
      : sink_(std::move(sink)), collection_(std::move(collection)) {}
  // Answers with every member (the first enumeration).
  void answer(VLItemCollection& collection);

  const std::shared_ptr<VLProviderScopeSink> sink_;
  const std::shared_ptr<VLItemCollection> collection_;
  std::once_flag stopped_;
  // Touched only on the collection's working queue.
  bool answered_ = false;
  // What the host has been told, in the collection's order: a batch's deletions and moves
  // name rows of this list, so only the rows a batch names are looked at.
  std::vector<VLItemRef> reported_;
  std::vector<size_t> deletedRows_, changedRows_;  // of the batch being replayed, in reported_ and in the new list
  std::vector<std::pair<size_t, size_t>> movedRows_;
};
