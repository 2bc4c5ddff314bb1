#include "Vaultline/VLUntrashOperation.h"

std::shared_ptr<VLUntrashOperation> VLUntrashOperation::make(std::vector<VLItemRef> items, VLItemRef restoreDirectory) {
  return std::shared_ptr<VLUntrashOperation>(new VLUntrashOperation(std::move(items), std::move(restoreDirectory)));
}

std::string VLUntrashOperation::argumentsDescription() const {
  return "items: " + describeItems(items_) + ", restoreDirectory: " +
         (restoreDirectory_ ? describeItems({restoreDirectory_}) : std::string("(provider's choice)"));
}
