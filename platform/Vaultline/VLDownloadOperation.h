// VLDownloadOperation: makes the items' contents local. Its own completion receives the
// downloaded items as they stand afterwards, and the error (or none).
#pragma once

#include "Vaultline/VLActionOperation.h"

class VLDownloadOperation : public VLActionOperation {
 public:
  using DownloadCompletionBlock = std::function<void(const std::vector<VLItemRef>& items, VLErrorRef error)>;

  static std::shared_ptr<VLDownloadOperation> make(std::vector<VLItemRef> items);

  const std::vector<VLItemRef>& items() const { return items_; }
  void setDownloadCompletionBlock(DownloadCompletionBlock block);

  // For platforms: ends the action with the downloaded items and the error (or none).
  void completeWithItems(std::vector<VLItemRef> downloaded, VLErrorRef error);

 protected:
  std::string argumentsDescription() const override { return "items: " + describeItems(items_); }
  void callOwnCompletion(const VLErrorRef& error) override;

 private:
  explicit VLDownloadOperation(std::vector<VLItemRef> items) : items_(std::move(items)) {}
  const std::vector<VLItemRef> items_;
  DownloadCompletionBlock block_;      // guarded by mutex_
  std::vector<VLItemRef> downloaded_;  // guarded by mutex_
};
