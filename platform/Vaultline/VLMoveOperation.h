// VLMoveOperation: moves items into a destination folder.
//
// When it completes, transferResults() holds, for each moved item, the item as it stands
// after the move; it is set before any completion callback runs.
#pragma once

#include <utility>

#include "Vaultline/VLActionOperation.h"

class VLMoveOperation : public VLActionOperation {
 public:
  using TransferResults = std::vector<std::pair<VLItemRef, VLItemRef>>;

  static std::shared_ptr<VLMoveOperation> make(std::vector<VLItemRef> items, VLItemRef destinationFolder);

  const std::vector<VLItemRef>& items() const { return items_; }
  const VLItemRef& destinationFolder() const { return destinationFolder_; }
  // Returns (moved item, item after the move) pairs.
  TransferResults transferResults() const;
  // Returns the item after the move recorded under `movedItem` (matched by isEqual), or nullptr.
  VLItemRef transferResultForItem(const VLItemRef& movedItem) const;

  // For platforms: records the outcome, before completeWithError().
  void setTransferResults(TransferResults results);

 protected:
  std::string argumentsDescription() const override {
    return "items: " + describeItems(items_) + ", destinationFolder: " + describeItems({destinationFolder_});
  }

 private:
  VLMoveOperation(std::vector<VLItemRef> items, VLItemRef destination)
      : items_(std::move(items)), destinationFolder_(std::move(destination)) {}
  const std::vector<VLItemRef> items_;
  const VLItemRef destinationFolder_;
  TransferResults transferResults_;  // guarded by mutex_
};
