// The observer interfaces of an item collection. A collection calls them one at a time on
// its working queue, in the order the changes happened.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Core/VLError.h"
#include "Vaultline/VLIndexPath.h"
#include "Vaultline/VLItem.h"

class VLItemCollection;

// The least an observer must handle: a complete new enumeration.
class VLItemCollectionMinimalDelegate {
 public:
  virtual ~VLItemCollectionMinimalDelegate() = default;
  // The collection's first, or a complete new, enumeration is available in items().
  virtual void dataForCollectionShouldBeReloaded(VLItemCollection& collection) = 0;
};

// Incremental changes, as index paths into items() (deletions: into the previous ordering).
class VLItemCollectionIndexPathBasedDelegate {
 public:
  virtual ~VLItemCollectionIndexPathBasedDelegate() = default;
  virtual void collectionDidInsertItemsAtIndexPaths(VLItemCollection& collection, const VLIndexPaths& paths) = 0;
  virtual void collectionDidDeleteItemsAtIndexPaths(VLItemCollection& collection, const VLIndexPaths& paths) = 0;
  // `changes` holds, per path, the attribute keys that changed.
  virtual void collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection& collection, const VLIndexPaths& paths,
                                                           const std::vector<std::set<std::string>>& changes) = 0;
  // `from` and `to` are paired lists.
  virtual void collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection& collection, const VLIndexPaths& from,
                                                                const VLIndexPaths& to) = 0;
};

// The full observer: both of the above, batches, errors and the observed container itself.
class VLItemCollectionDelegate : public VLItemCollectionMinimalDelegate, public VLItemCollectionIndexPathBasedDelegate {
 public:
  using ReplayBlock = std::function<void(VLItemCollectionIndexPathBasedDelegate& delegate)>;

  // A batch of incremental changes; `replay` calls the index-path callbacks on the delegate given.
  virtual void collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection,
                                                              const ReplayBlock& replay) = 0;
  // The enumeration failed.
  virtual void collectionDidEncounterError(VLItemCollection& collection, const VLErrorRef& error) = 0;
  // The observed container item itself changed.
  virtual void collectionDidUpdateObservedItem(VLItemCollection& collection, const VLItemRef& item) = 0;
};
