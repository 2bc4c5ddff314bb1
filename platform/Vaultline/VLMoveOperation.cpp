#include "Vaultline/VLMoveOperation.h"

std::shared_ptr<VLMoveOperation> VLMoveOperation::make(std::vector<VLItemRef> items, VLItemRef destinationFolder) {
  return std::shared_ptr<VLMoveOperation>(new VLMoveOperation(std::move(items), std::move(destinationFolder)));
}

VLMoveOperation::TransferResults VLMoveOperation::transferResults() const {
  std::lock_guard lock(mutex_);
  return transferResults_;
}

VLItemRef VLMoveOperation::transferResultForItem(const VLItemRef& movedItem) const {
  std::lock_guard lock(mutex_);
  for (const auto& [moved, after] : transferResults_) {
    if (moved && movedItem && moved->isEqual(*movedItem)) return after;
  }
  return nullptr;
}

void VLMoveOperation::setTransferResults(TransferResults results) {
  std::lock_guard lock(mutex_);
  transferResults_ = std::move(results);
}
