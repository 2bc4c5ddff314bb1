#include "Vaultline/VLCollectionChanges.h"

#include <string_view>
#include <unordered_map>

VLCollectionChanges VLCollectionChanges::between(const std::vector<std::string>& before,
                                                 const std::vector<std::string>& after,
                                                 const std::function<bool(size_t oldRow, size_t newRow)>& changed) {
  return between(std::vector<std::string_view>(before.begin(), before.end()),
                 std::vector<std::string_view>(after.begin(), after.end()), changed);
}

VLCollectionChanges VLCollectionChanges::between(const std::vector<std::string_view>& before,
                                                 const std::vector<std::string_view>& after,
                                                 const std::function<bool(size_t oldRow, size_t newRow)>& changed) {
  // Hashed views of the callers' strings: linear in the lists' lengths.
  std::unordered_map<std::string_view, size_t> oldRows, newRows;
  oldRows.reserve(before.size());
  newRows.reserve(after.size());
  for (size_t row = 0; row < before.size(); ++row) oldRows[before[row]] = row;
  for (size_t row = 0; row < after.size(); ++row) newRows[after[row]] = row;
  VLCollectionChanges changes;
  std::vector<std::string_view> oldSurvivors, newSurvivors;
  for (size_t row = 0; row < before.size(); ++row) {
    if (newRows.count(before[row])) {
      oldSurvivors.push_back(before[row]);
    } else {
      changes.deleted.push_back(VLIndexPath::forRow(row));
    }
  }
  for (size_t row = 0; row < after.size(); ++row) {
    auto old = oldRows.find(after[row]);
    if (old == oldRows.end()) {
      changes.inserted.push_back(VLIndexPath::forRow(row));
      continue;
    }
    newSurvivors.push_back(after[row]);
    if (changed(old->second, row)) {
      changes.updated.push_back(VLIndexPath::forRow(row));
      changes.updateKeys.push_back({});
    }
  }
  // A survivor moved when its place among the survivors changed.
  for (size_t i = 0; i < newSurvivors.size(); ++i) {
    if (oldSurvivors[i] == newSurvivors[i]) continue;
    changes.movedFrom.push_back(VLIndexPath::forRow(oldRows[newSurvivors[i]]));
    changes.movedTo.push_back(VLIndexPath::forRow(newRows[newSurvivors[i]]));
  }
  return changes;
}

void VLCollectionChanges::replay(VLItemCollection& collection, VLItemCollectionIndexPathBasedDelegate& target) const {
  if (!deleted.empty()) target.collectionDidDeleteItemsAtIndexPaths(collection, deleted);
  if (!inserted.empty()) target.collectionDidInsertItemsAtIndexPaths(collection, inserted);
  if (!updated.empty()) target.collectionDidUpdateItemsAtIndexPathsChanges(collection, updated, updateKeys);
  if (!movedTo.empty()) target.collectionDidMoveItemsFromIndexPathsToIndexPaths(collection, movedFrom, movedTo);
}
