#include "Vaultline/VLSetLastOpenDateOperation.h"

std::shared_ptr<VLSetLastOpenDateOperation> VLSetLastOpenDateOperation::make(std::vector<VLItemRef> items,
                                                                             VLDate date) {
  return std::shared_ptr<VLSetLastOpenDateOperation>(new VLSetLastOpenDateOperation(std::move(items), date));
}
