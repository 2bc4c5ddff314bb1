#include "Validations/VLEventGeneratingDelegate.h"

#include <unordered_set>

#include "Core/VLFormat.h"
#include "Core/VLLog.h"

std::shared_ptr<VLEventGeneratingDelegate> VLEventGeneratingDelegate::make() {
  return std::shared_ptr<VLEventGeneratingDelegate>(new VLEventGeneratingDelegate());
}

VLEventGeneratingDelegate::VLEventGeneratingDelegate() : stream_(VLEventStream::make()) {}

void VLEventGeneratingDelegate::generateEvent(const std::string& type, const VLItemRef& item) {
  stream_->addEvent(VLEvent::make(type, item));
}

void VLEventGeneratingDelegate::generateEvents(const std::string& type, const VLIndexPaths& paths,
                                               const std::vector<VLItemRef>& items) {
  for (const auto& path : paths) {
    size_t row = path.indexAtPosition(1);
    VL_ASSERT(row < items.size(), "collection reported %@ at %@ outside its %@ items", type, path,
              static_cast<uint64_t>(items.size()));
    generateEvent(type, items[row]);
  }
}

void VLEventGeneratingDelegate::dataForCollectionShouldBeReloaded(VLItemCollection& collection) {
  generateEvent("should-be-reloaded", nullptr);
  std::vector<VLItemRef> items = collection.items();
  for (const auto& item : items) generateEvent(VLEventReload, item);
  if (oldItems_) {
    // Sets keep this linear in the two lists' lengths; each missing item is reported once.
    std::unordered_set<VLItemRef, VLItemRefHash, VLItemRefEqual> present(items.begin(), items.end());
    std::unordered_set<VLItemRef, VLItemRefHash, VLItemRefEqual> missing;
    for (const auto& old : *oldItems_) {
      if (!present.count(old) && missing.insert(old).second) generateEvent(VLEventDelete, old);
    }
  }
  oldItems_ = std::move(items);
}

void VLEventGeneratingDelegate::collectionDidInsertItemsAtIndexPaths(VLItemCollection& collection,
                                                                     const VLIndexPaths& paths) {
  generateEvents(VLEventInsert, paths, collection.items());
}

void VLEventGeneratingDelegate::collectionDidDeleteItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths& paths) {
  static const auto& none = *new std::vector<VLItemRef>;
  generateEvents(VLEventDelete, paths, oldItems_ ? *oldItems_ : none);
}

void VLEventGeneratingDelegate::collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection& collection,
                                                                            const VLIndexPaths& paths,
                                                                            const std::vector<std::set<std::string>>&) {
  generateEvents(VLEventUpdate, paths, collection.items());
}

void VLEventGeneratingDelegate::collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection& collection,
                                                                                 const VLIndexPaths&,
                                                                                 const VLIndexPaths& to) {
  generateEvents(VLEventMove, to, collection.items());
}

void VLEventGeneratingDelegate::collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection,
                                                                               const ReplayBlock& replay) {
  if (replay) replay(*this);
  oldItems_ = collection.items();
}

void VLEventGeneratingDelegate::collectionDidEncounterError(VLItemCollection&, const VLErrorRef& error) {
  generateEvent(VLFormat("encountered-error: %@", error), nullptr);
}

void VLEventGeneratingDelegate::collectionDidUpdateObservedItem(VLItemCollection&, const VLItemRef& item) {
  generateEvent("updated-observed-item", item);
}
