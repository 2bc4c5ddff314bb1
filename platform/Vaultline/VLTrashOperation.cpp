#include "Vaultline/VLTrashOperation.h"

std::shared_ptr<VLTrashOperation> VLTrashOperation::make(std::vector<VLItemRef> items) {
  return std::shared_ptr<VLTrashOperation>(new VLTrashOperation(std::move(items)));
}
