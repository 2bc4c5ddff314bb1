#include "Vaultline/VLDownloadOperation.h"

std::shared_ptr<VLDownloadOperation> VLDownloadOperation::make(std::vector<VLItemRef> items) {
  return std::shared_ptr<VLDownloadOperation>(new VLDownloadOperation(std::move(items)));
}

void VLDownloadOperation::setDownloadCompletionBlock(DownloadCompletionBlock block) {
  std::lock_guard lock(mutex_);
  block_ = std::move(block);
}

void VLDownloadOperation::completeWithItems(std::vector<VLItemRef> downloaded, VLErrorRef error) {
  {
    std::lock_guard lock(mutex_);
    downloaded_ = std::move(downloaded);
  }
  completeWithError(std::move(error));
}

void VLDownloadOperation::callOwnCompletion(const VLErrorRef& error) {
  DownloadCompletionBlock block;
  std::vector<VLItemRef> items;
  {
    std::lock_guard lock(mutex_);
    block = block_;
    items = downloaded_;
  }
  if (block) block(items, error);
}
