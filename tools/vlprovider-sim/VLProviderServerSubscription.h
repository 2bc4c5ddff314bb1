// VLProviderServerSubscription: one collection subscription of a served session. It observes
// a platform collection and reports it the way the protocol asks: the first enumeration as
// the answer to "collections.subscribe", then every later batch as item-level changes
// (the items whose snapshot is new or changed, the identifiers that left) in one
// "collections.changed" per batch, worked out from the batch's rows in time linear in the
// rows it names, the container's own changes as "observedItem", and an
// enumeration failure as the answer's error or as "collections.failed".
//
// Callbacks arrive on the subscription's own serial queue. Made by start(); stop() ends it.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "Vaultline/VLItemCollection.h"
#include "Vaultline/VLItemCollectionDelegate.h"

class VLProviderServer;

class VLProviderServerSubscription : public VLItemCollectionDelegate,
                                     public std::enable_shared_from_this<VLProviderServerSubscription> {
 public:
  // Starts observing `collection` for subscription `number`, answering request `requestID`.
  static std::shared_ptr<VLProviderServerSubscription> start(std::weak_ptr<VLProviderServer> server, int64_t number,
                                                             nlohmann::json requestID,
                                                             std::shared_ptr<VLItemCollection> collection);
  // Stops observing; nothing is reported afterwards.
  void stop();

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
  VLProviderServerSubscription(std::weak_ptr<VLProviderServer> server, int64_t number, nlohmann::json requestID,
                               std::shared_ptr<VLItemCollection> collection)
      : server_(std::move(server)),
        number_(number),
        requestID_(std::move(requestID)),
        collection_(std::move(collection)) {}
  // Answers the subscription with every member (the first enumeration), in pages of
  // kPageSize members when there are more.
  void answer(VLItemCollection& collection);
  // Sends one "collections.changed" with these identifiers and items, unless both are empty.
  void sendChanges(VLProviderServer& server, nlohmann::json deleted, const std::vector<VLItemRef>& updated);
  static constexpr size_t kPageSize = 1000;

  const std::weak_ptr<VLProviderServer> server_;
  const int64_t number_;
  const nlohmann::json requestID_;
  const std::shared_ptr<VLItemCollection> collection_;
  // Touched only on the collection's working queue.
  bool answered_ = false;
  // What the host has been told, in the collection's order: a batch's deletions and moves
  // name rows of this list, so only the rows a batch names are looked at.
  std::vector<VLItemRef> reported_;
  std::vector<size_t> deletedRows_, changedRows_;  // of the batch being replayed, in reported_ and in the new list
  std::vector<std::pair<size_t, size_t>> movedRows_;
};
