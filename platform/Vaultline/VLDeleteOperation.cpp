#include "Vaultline/VLDeleteOperation.h"

std::shared_ptr<VLDeleteOperation> VLDeleteOperation::make(std::vector<VLItemRef> items) {
  return std::shared_ptr<VLDeleteOperation>(new VLDeleteOperation(std::move(items)));
}
