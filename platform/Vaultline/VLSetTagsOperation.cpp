#include "Vaultline/VLSetTagsOperation.h"

std::shared_ptr<VLSetTagsOperation> VLSetTagsOperation::make(std::vector<VLItemRef> items,
                                                             std::vector<TagList> tagsLists) {
  return std::shared_ptr<VLSetTagsOperation>(new VLSetTagsOperation(std::move(items), std::move(tagsLists)));
}

std::string VLSetTagsOperation::argumentsDescription() const {
  std::string lists;
  for (const auto& list : tagsLists_) {
    std::string tags;
    for (const auto& tag : list) tags += (tags.empty() ? "" : ", ") + (tag ? tag->description() : "(null)");
    lists += (lists.empty() ? "(" : ", (") + tags + ")";
  }
  return "items: " + describeItems(items_) + ", tags: [" + lists + "]";
}
