// VLCollectionChanges: the index-path changes that turn one ordered item list into the next,
// as a collection reports them in one batch: deletions at rows of the old list, insertions
// and updates at rows of the new one, and moves of the items that stayed but changed place
// among the other items that stayed. A plain value; safe to copy between threads.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Vaultline/VLIndexPath.h"
#include "Vaultline/VLItemCollectionDelegate.h"

struct VLCollectionChanges {
  VLIndexPaths deleted, inserted, updated, movedFrom, movedTo;
  std::vector<std::set<std::string>> updateKeys;  // one (empty) key set per updated path

  // Returns the changes from the identifiers `before` to `after` (each list free of
  // repeats); `changed(oldRow, newRow)` tells whether an item in both lists changed.
  static VLCollectionChanges between(const std::vector<std::string>& before, const std::vector<std::string>& after,
                                     const std::function<bool(size_t oldRow, size_t newRow)>& changed);
  // The same over views of identifiers that the caller keeps alive; nothing is copied.
  static VLCollectionChanges between(const std::vector<std::string_view>& before,
                                     const std::vector<std::string_view>& after,
                                     const std::function<bool(size_t oldRow, size_t newRow)>& changed);

  bool empty() const { return deleted.empty() && inserted.empty() && updated.empty() && movedTo.empty(); }
  // Calls `target`'s callbacks for the non-empty kinds: deletions, insertions, updates, moves.
  void replay(VLItemCollection& collection, VLItemCollectionIndexPathBasedDelegate& target) const;
};
