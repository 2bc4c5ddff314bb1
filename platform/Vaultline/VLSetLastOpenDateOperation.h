// VLSetLastOpenDateOperation: sets the last-used date of the items.
#pragma once

#include "Core/VLDate.h"
#include "Vaultline/VLActionOperation.h"

class VLSetLastOpenDateOperation : public VLActionOperation {
 public:
  static std::shared_ptr<VLSetLastOpenDateOperation> make(std::vector<VLItemRef> items, VLDate date);

  const std::vector<VLItemRef>& items() const { return items_; }
  const VLDate& date() const { return date_; }

 protected:
  std::string argumentsDescription() const override {
    return "items: " + describeItems(items_) + ", date: " + date_.description();
  }

 private:
  VLSetLastOpenDateOperation(std::vector<VLItemRef> items, VLDate date) : items_(std::move(items)), date_(date) {}
  const std::vector<VLItemRef> items_;
  const VLDate date_;
};
