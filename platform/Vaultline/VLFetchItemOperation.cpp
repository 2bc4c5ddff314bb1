#include "Vaultline/VLFetchItemOperation.h"

#include "Core/VLException.h"

bool VLFetchItemOperation::classExists() {
  return VLPlatform::current()->offers(VLPlatformCapability::FetchItemOperationClass);
}

std::shared_ptr<VLFetchItemOperation> VLFetchItemOperation::make(std::shared_ptr<const VLItemID> itemID) {
  if (!classExists()) throw VLException("the class VLFetchItemOperation does not exist on this platform revision");
  return std::shared_ptr<VLFetchItemOperation>(new VLFetchItemOperation(std::move(itemID)));
}

void VLFetchItemOperation::setFetchCompletionBlock(FetchCompletionBlock block) {
  std::lock_guard lock(mutex_);
  block_ = std::move(block);
}

void VLFetchItemOperation::completeWithItem(VLItemRef item, VLErrorRef error) {
  {
    std::lock_guard lock(mutex_);
    item_ = std::move(item);
  }
  completeWithError(std::move(error));
}

void VLFetchItemOperation::callOwnCompletion(const VLErrorRef& error) {
  FetchCompletionBlock block;
  VLItemRef item;
  {
    std::lock_guard lock(mutex_);
    block = block_;
    item = item_;
  }
  if (block) block(item, error);
}
