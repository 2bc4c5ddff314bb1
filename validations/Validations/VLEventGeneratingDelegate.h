// VLEventGeneratingDelegate: the observer installed on an item collection that turns every
// callback into events on its VLEventStream, without filtering or interpretation.
//
// It keeps one snapshot of the collection's items, taken after each reload and batch
// update, so that a deletion can still name the item that went away. Callbacks arrive one
// at a time on the collection's working queue, which owns the snapshot; each event is
// appended with the blocking VLEventStream::addEvent(). The stream is set before the
// collection starts observing and only read afterwards. Made by make(); lives as long as
// the case that installed it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Validations/VLEventStream.h"
#include "Vaultline/VLItemCollection.h"
#include "Vaultline/VLItemCollectionDelegate.h"

class VLEventGeneratingDelegate : public VLItemCollectionDelegate {
 public:
  // Makes an observer with no snapshot and a new empty stream.
  static std::shared_ptr<VLEventGeneratingDelegate> make();

  // Returns the stream that receives the events.
  std::shared_ptr<VLEventStream> stream() const { return stream_; }
  // Replaces the stream that receives the events; call before observation starts.
  void setStream(std::shared_ptr<VLEventStream> stream) { stream_ = std::move(stream); }

  // Appends one event of kind `type` about `item` (which may be null) to the stream.
  void generateEvent(const std::string& type, const VLItemRef& item);

  // Emits "should-be-reloaded", one "reload" per current item in order, then one "delete"
  // per item of the snapshot that is gone; then takes a new snapshot.
  void dataForCollectionShouldBeReloaded(VLItemCollection& collection) override;
  // Emits one "insert" per path, naming the item now at the path's row.
  void collectionDidInsertItemsAtIndexPaths(VLItemCollection& collection, const VLIndexPaths& paths) override;
  // Emits one "delete" per path, naming the snapshot's item at the path's row, since the
  // collection no longer holds it.
  void collectionDidDeleteItemsAtIndexPaths(VLItemCollection& collection, const VLIndexPaths& paths) override;
  // Emits one "update" per path; which attributes changed is not looked at.
  void collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection& collection, const VLIndexPaths& paths,
                                                   const std::vector<std::set<std::string>>& changes) override;
  // Emits one "move" per destination path, naming the item now there.
  void collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection& collection, const VLIndexPaths& from,
                                                        const VLIndexPaths& to) override;
  // Replays the batch onto this observer, then takes a new snapshot.
  void collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection, const ReplayBlock& replay) override;
  // Emits "encountered-error: <error description>" without an item.
  void collectionDidEncounterError(VLItemCollection& collection, const VLErrorRef& error) override;
  // Emits "updated-observed-item" about the observed container.
  void collectionDidUpdateObservedItem(VLItemCollection& collection, const VLItemRef& item) override;

  VLEventGeneratingDelegate(const VLEventGeneratingDelegate&) = delete;
  VLEventGeneratingDelegate& operator=(const VLEventGeneratingDelegate&) = delete;

 private:
  VLEventGeneratingDelegate();
  // Emits `type` for each path's row looked up in `items`.
  void generateEvents(const std::string& type, const VLIndexPaths& paths, const std::vector<VLItemRef>& items);

  // Owned by the collection's working queue; absent until the first reload or batch.
  std::optional<std::vector<VLItemRef>> oldItems_;
  // Set before observation starts; read-only afterwards.
  std::shared_ptr<VLEventStream> stream_;
};
