// VLUntrashOperation: brings items back from the trash, into `restoreDirectory` or, when it
// is none, to a place the provider chooses (usually where they were).
#pragma once

#include "Vaultline/VLActionOperation.h"

class VLUntrashOperation : public VLActionOperation {
 public:
  static std::shared_ptr<VLUntrashOperation> make(std::vector<VLItemRef> items, VLItemRef restoreDirectory);

  const std::vector<VLItemRef>& items() const { return items_; }
  const VLItemRef& restoreDirectory() const { return restoreDirectory_; }

 protected:
  std::string argumentsDescription() const override;

 private:
  VLUntrashOperation(std::vector<VLItemRef> items, VLItemRef restoreDirectory)
      : items_(std::move(items)), restoreDirectory_(std::move(restoreDirectory)) {}
  const std::vector<VLItemRef> items_;
  const VLItemRef restoreDirectory_;
};
