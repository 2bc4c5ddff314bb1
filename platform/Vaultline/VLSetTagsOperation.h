// VLSetTagsOperation: replaces the tags of each item with its own list (one list per item).
#pragma once

#include "Vaultline/VLActionOperation.h"
#include "Vaultline/VLTag.h"

class VLSetTagsOperation : public VLActionOperation {
 public:
  using TagList = std::vector<std::shared_ptr<const VLTag>>;

  // Makes the action; `tagsLists` holds one tag list per item, in the same order.
  static std::shared_ptr<VLSetTagsOperation> make(std::vector<VLItemRef> items, std::vector<TagList> tagsLists);

  const std::vector<VLItemRef>& items() const { return items_; }
  const std::vector<TagList>& tagsLists() const { return tagsLists_; }

 protected:
  std::string argumentsDescription() const override;

 private:
  VLSetTagsOperation(std::vector<VLItemRef> items, std::vector<TagList> lists)
      : items_(std::move(items)), tagsLists_(std::move(lists)) {}
  const std::vector<VLItemRef> items_;
  const std::vector<TagList> tagsLists_;
};
