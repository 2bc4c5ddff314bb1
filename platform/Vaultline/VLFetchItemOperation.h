// VLFetchItemOperation: fetches the current item for an item ID. Exists only on newer
// platform revisions: make() throws VLException where the class is missing, so callers
// ask VLFetchItemOperation::classExists() first.
#pragma once

#include "Vaultline/VLActionOperation.h"
#include "Vaultline/VLItemID.h"

class VLFetchItemOperation : public VLActionOperation {
 public:
  using FetchCompletionBlock = std::function<void(VLItemRef item, VLErrorRef error)>;

  // Returns whether the current platform has the class "VLFetchItemOperation".
  static bool classExists();
  static std::shared_ptr<VLFetchItemOperation> make(std::shared_ptr<const VLItemID> itemID);

  const std::shared_ptr<const VLItemID>& itemID() const { return itemID_; }
  void setFetchCompletionBlock(FetchCompletionBlock block);

  // For platforms: ends the action with the item (or none) and the error (or none).
  void completeWithItem(VLItemRef item, VLErrorRef error);

 protected:
  std::string argumentsDescription() const override {
    return "itemID: " + (itemID_ ? itemID_->description() : "(null)");
  }
  void callOwnCompletion(const VLErrorRef& error) override;

 private:
  explicit VLFetchItemOperation(std::shared_ptr<const VLItemID> itemID) : itemID_(std::move(itemID)) {}
  const std::shared_ptr<const VLItemID> itemID_;
  FetchCompletionBlock block_;  // guarded by mutex_
  VLItemRef item_;              // guarded by mutex_
};
