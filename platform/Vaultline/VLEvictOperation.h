// VLEvictOperation: Removes the local copies of the items' contents, keeping the items.
#pragma once

#include "Vaultline/VLActionOperation.h"

class VLEvictOperation : public VLActionOperation {
 public:
  // Makes the action for `items`.
  static std::shared_ptr<VLEvictOperation> make(std::vector<VLItemRef> items);

  const std::vector<VLItemRef>& items() const { return items_; }

 protected:
  std::string argumentsDescription() const override { return "items: " + describeItems(items_); }

 private:
  explicit VLEvictOperation(std::vector<VLItemRef> items) : items_(std::move(items)) {}
  const std::vector<VLItemRef> items_;
};
