// VLThumbnailFetchOperation: fetches one thumbnail per item. Made by an item manager; runs
// when added to an operation queue, and calls the per-thumbnail callback once per item
// (on the operation's thread or a service thread) before it finishes. When the work throws,
// every item not yet reported is reported with an error naming the exception.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Core/VLData.h"
#include "Core/VLError.h"
#include "Dispatch/VLOperation.h"
#include "Vaultline/VLItem.h"

struct VLSize {
  double width = 0;
  double height = 0;
};

class VLThumbnailFetchOperation : public VLOperation {
 public:
  // Receives the item, the image data (or none), the data's thumbnail format identifier and
  // the error (or none).
  using PerThumbnailCompletionBlock = std::function<void(const VLItemRef& item, const std::optional<VLData>& data,
                                                         const std::string& format, const VLErrorRef& error)>;

  const std::vector<VLItemRef>& items() const { return items_; }
  VLSize size() const { return size_; }
  double scale() const { return scale_; }
  void setPerThumbnailCompletionBlock(PerThumbnailCompletionBlock block);

 protected:
  VLThumbnailFetchOperation(std::vector<VLItemRef> items, VLSize size, double scale)
      : items_(std::move(items)), size_(size), scale_(scale) {}

  // For platforms: reports one item's thumbnail to the per-thumbnail callback.
  void deliverThumbnail(const VLItemRef& item, const std::optional<VLData>& data, const std::string& format,
                        const VLErrorRef& error);
  // Reports `error` for every item not reported yet (when main() threw).
  bool reportFailure(const VLErrorRef& error) override;

 private:
  const std::vector<VLItemRef> items_;
  const VLSize size_;
  const double scale_;
  std::mutex mutex_;
  PerThumbnailCompletionBlock block_;  // guarded by mutex_
  std::vector<bool> delivered_;        // guarded by mutex_: per entry of items_
};
