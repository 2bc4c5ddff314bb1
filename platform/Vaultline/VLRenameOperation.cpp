#include "Vaultline/VLRenameOperation.h"

std::shared_ptr<VLRenameOperation> VLRenameOperation::make(VLItemRef item, std::string newName) {
  return std::shared_ptr<VLRenameOperation>(new VLRenameOperation(std::move(item), std::move(newName)));
}

std::string VLRenameOperation::argumentsDescription() const {
  return "item: " + describeItems({item_}) + ", newName: " + newName_;
}
