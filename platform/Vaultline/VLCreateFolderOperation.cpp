#include "Vaultline/VLCreateFolderOperation.h"

std::shared_ptr<VLCreateFolderOperation> VLCreateFolderOperation::make(VLItemRef parentItem, std::string folderName) {
  return std::shared_ptr<VLCreateFolderOperation>(
      new VLCreateFolderOperation(std::move(parentItem), std::move(folderName)));
}

void VLCreateFolderOperation::setCreateFolderCompletionBlock(CreateFolderCompletionBlock block) {
  std::lock_guard lock(mutex_);
  block_ = std::move(block);
}

void VLCreateFolderOperation::completeWithItem(VLItemRef createdItem, VLErrorRef error) {
  {
    std::lock_guard lock(mutex_);
    createdItem_ = std::move(createdItem);
  }
  completeWithError(std::move(error));
}

void VLCreateFolderOperation::callOwnCompletion(const VLErrorRef& error) {
  CreateFolderCompletionBlock block;
  VLItemRef item;
  {
    std::lock_guard lock(mutex_);
    block = block_;
    item = createdItem_;
  }
  if (block) block(item, error);
}
