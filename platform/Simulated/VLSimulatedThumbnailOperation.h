// VLSimulatedThumbnailOperation: the simulated provider's thumbnail fetch: for each item it
// decodes the item's image, scales it to fit the requested size (points × scale), and
// reports PNG data in the undecorated thumbnail format (quirks change the format, size or
// outcome), once per item, on the operation's own thread before the operation finishes. A
// thumbnail larger than 4096 pixels a side is refused with an error. Made by the item
// manager; runs when added to an operation queue.
#pragma once

#include <memory>

#include "Simulated/VLSimulatedStore.h"
#include "Vaultline/VLThumbnailFetchOperation.h"

class VLSimulatedThumbnailOperation : public VLThumbnailFetchOperation {
 public:
  static std::shared_ptr<VLSimulatedThumbnailOperation> make(std::vector<VLItemRef> items, VLSize size, double scale,
                                                             std::shared_ptr<VLSimulatedStore> store);

 protected:
  void main() override;

 private:
  VLSimulatedThumbnailOperation(std::vector<VLItemRef> items, VLSize size, double scale,
                                std::shared_ptr<VLSimulatedStore> store)
      : VLThumbnailFetchOperation(std::move(items), size, scale), store_(std::move(store)) {}
  void fetchOne(const VLItemRef& item);

  const std::shared_ptr<VLSimulatedStore> store_;
};
