// VLProviderServerSubscription: one collection subscription of a served session. It observes
// a platform collection and reports it the way the protocol asks: the first enumeration as
// the answer to "collections.subscribe", then every later change as item-level changes
// (the items whose snapshot is new or changed, the identifiers that left) in one
// "collections.changed" per callback, the container's own changes as "observedItem", and an
// enumeration failure as the answer's error or as "collections.failed".
//
// Callbacks arrive on the subscription's own serial queue. Made by start(); stop() ends it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

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
  void collectionDidInsertItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths&) override {}
  void collectionDidDeleteItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths&) override {}
  void collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection&, const VLIndexPaths&,
                                                   const std::vector<std::set<std::string>>&) override {}
  void collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection&, const VLIndexPaths&,
                                                        const VLIndexPaths&) override {}
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
  // Reports what changed since the last report (item snapshots compared by identity).
  void report(VLItemCollection& collection);

  const std::weak_ptr<VLProviderServer> server_;
  const int64_t number_;
  const nlohmann::json requestID_;
  const std::shared_ptr<VLItemCollection> collection_;
  // Touched only on the collection's working queue.
  bool answered_ = false;
  std::map<std::string, VLItemRef> reported_;  // what the host has been told, by identifier
};
