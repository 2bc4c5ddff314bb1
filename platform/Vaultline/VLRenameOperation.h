// VLRenameOperation: gives one item a new name in the same folder.
#pragma once

#include "Vaultline/VLActionOperation.h"

class VLRenameOperation : public VLActionOperation {
 public:
  static std::shared_ptr<VLRenameOperation> make(VLItemRef item, std::string newName);

  const VLItemRef& item() const { return item_; }
  const std::string& newName() const { return newName_; }

 protected:
  std::string argumentsDescription() const override;

 private:
  VLRenameOperation(VLItemRef item, std::string newName) : item_(std::move(item)), newName_(std::move(newName)) {}
  const VLItemRef item_;
  const std::string newName_;
};
