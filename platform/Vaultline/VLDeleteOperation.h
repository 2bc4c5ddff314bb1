// VLDeleteOperation: Deletes the items, folders with everything inside them.
#pragma once

#include "Vaultline/VLActionOperation.h"

class VLDeleteOperation : public VLActionOperation {
 public:
  // Makes the action for `items`.
  static std::shared_ptr<VLDeleteOperation> make(std::vector<VLItemRef> items);

  const std::vector<VLItemRef>& items() const { return items_; }

 protected:
  std::string argumentsDescription() const override { return "items: " + describeItems(items_); }

 private:
  explicit VLDeleteOperation(std::vector<VLItemRef> items) : items_(std::move(items)) {}
  const std::vector<VLItemRef> items_;
};
