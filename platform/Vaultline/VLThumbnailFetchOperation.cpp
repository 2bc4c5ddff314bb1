#include "Vaultline/VLThumbnailFetchOperation.h"

void VLThumbnailFetchOperation::setPerThumbnailCompletionBlock(PerThumbnailCompletionBlock block) {
  std::lock_guard lock(mutex_);
  block_ = std::move(block);
}

void VLThumbnailFetchOperation::deliverThumbnail(const VLItemRef& item, const std::optional<VLData>& data,
                                                 const std::string& format, const VLErrorRef& error) {
  PerThumbnailCompletionBlock block;
  {
    std::lock_guard lock(mutex_);
    block = block_;
  }
  if (block) block(item, data, format, error);
}
