// VLCreateFolderOperation: creates a folder inside a parent item. Its own completion receives
// the created item (or none) and the error (or none).
#pragma once

#include "Vaultline/VLActionOperation.h"

class VLCreateFolderOperation : public VLActionOperation {
 public:
  using CreateFolderCompletionBlock = std::function<void(VLItemRef createdItem, VLErrorRef error)>;

  static std::shared_ptr<VLCreateFolderOperation> make(VLItemRef parentItem, std::string folderName);

  const VLItemRef& parentItem() const { return parentItem_; }
  const std::string& folderName() const { return folderName_; }
  void setCreateFolderCompletionBlock(CreateFolderCompletionBlock block);

  // For platforms: ends the action with the created item (or none) and the error (or none).
  void completeWithItem(VLItemRef createdItem, VLErrorRef error);

 protected:
  std::string argumentsDescription() const override {
    return "parentItem: " + describeItems({parentItem_}) + ", folderName: " + folderName_;
  }
  void callOwnCompletion(const VLErrorRef& error) override;

 private:
  VLCreateFolderOperation(VLItemRef parent, std::string name)
      : parentItem_(std::move(parent)), folderName_(std::move(name)) {}
  const VLItemRef parentItem_;
  const std::string folderName_;
  CreateFolderCompletionBlock block_;  // guarded by mutex_
  VLItemRef createdItem_;              // guarded by mutex_
};
