// VLEmptyCollectionDelegate: a full collection observer whose every callback does nothing, for
// observers that care about a few callbacks and override only those. A batch update replays
// its changes onto this observer, so an observer that overrides only the index-path callbacks
// still sees each batch's rows.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "Vaultline/VLItemCollectionDelegate.h"

class VLEmptyCollectionDelegate : public VLItemCollectionDelegate {
 public:
  void dataForCollectionShouldBeReloaded(VLItemCollection&) override {}
  void collectionDidInsertItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths&) override {}
  void collectionDidDeleteItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths&) override {}
  void collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection&, const VLIndexPaths&,
                                                   const std::vector<std::set<std::string>>&) override {}
  void collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection&, const VLIndexPaths&,
                                                        const VLIndexPaths&) override {}
  void collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection&, const ReplayBlock& replay) override {
    replay(*this);
  }
  void collectionDidEncounterError(VLItemCollection&, const VLErrorRef&) override {}
  void collectionDidUpdateObservedItem(VLItemCollection&, const VLItemRef&) override {}
};
