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
    delivered_.resize(items_.size());
    for (size_t i = 0; i < items_.size(); ++i) {
      if (!delivered_[i] && items_[i] == item) {
        delivered_[i] = true;
        break;
      }
    }
  }
  if (block) block(item, data, format, error);
}

bool VLThumbnailFetchOperation::reportFailure(const VLErrorRef& error) {
  std::vector<VLItemRef> missing;
  {
    std::lock_guard lock(mutex_);
    delivered_.resize(items_.size());
    for (size_t i = 0; i < items_.size(); ++i) {
      if (!delivered_[i]) missing.push_back(items_[i]);
    }
  }
  for (const auto& item : missing) deliverThumbnail(item, std::nullopt, "", error);
  return true;
}
