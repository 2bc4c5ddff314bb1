// VLTrashOperation: Moves the items to the trash.
#pragma once

#include "Vaultline/VLActionOperation.h"

class VLTrashOperation : public VLActionOperation {
 public:
  // Makes the action for `items`.
  static std::shared_ptr<VLTrashOperation> make(std::vector<VLItemRef> items);

  const std::vector<VLItemRef>& items() const { return items_; }

 protected:
  std::string argumentsDescription() const override { return "items: " + describeItems(items_); }

 private:
  explicit VLTrashOperation(std::vector<VLItemRef> items) : items_(std::move(items)) {}
  const std::vector<VLItemRef> items_;
};
