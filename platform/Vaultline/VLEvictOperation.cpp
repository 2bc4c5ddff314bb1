#include "Vaultline/VLEvictOperation.h"

std::shared_ptr<VLEvictOperation> VLEvictOperation::make(std::vector<VLItemRef> items) {
  return std::shared_ptr<VLEvictOperation>(new VLEvictOperation(std::move(items)));
}
