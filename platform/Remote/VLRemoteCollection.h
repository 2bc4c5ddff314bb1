// VLRemoteCollection: a live collection of a provider in its own process: the children of
// one container, the working set, or every item of the provider.
//
// startObserving() attaches to the session's feed of the scope (VLRemoteFeed); the scope's
// members (the provider's answer with its pages, or the feed's current members when another
// collection over the scope has had them) become the first reload and each reported batch of item-level
// changes one batch update (deletions at rows of the previous list, insertions, updates and moves at rows of the new
// one), followed by collectionDidUpdateObservedItem when the container itself changed. A failed subscription, a failure
// report or the end of the provider is delivered as one error, after which the collection is silent. Everything reaches
// the delegate on the working queue, never inside the call that caused it; stopObserving() ends delivery (no callback
// starts after it returns). The ordered lists and their index-path changes are the feed's,
// shared with every collection over the scope in the same ordering. Thread-safe; made by make().
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include <nlohmann/json.hpp>

#include "Vaultline/VLCollectionModel.h"
#include "Remote/VLRemoteFeed.h"
#include "Remote/VLRemoteSession.h"
#include "Vaultline/VLItemCollection.h"

class VLRemoteCollection : public VLItemCollection {
 public:
  // Makes a collection over `scope` (a protocol scope object). With `unavailable`, the
  // collection subscribes to nothing and reports that error when started.
  static std::shared_ptr<VLRemoteCollection> make(std::shared_ptr<VLRemoteSession> session, nlohmann::json scope,
                                                  VLErrorRef unavailable = nullptr);

  void startObserving() override;
  void stopObserving() override;
  std::vector<VLItemRef> items() const override;
  void reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) override;
  // In the protocol's words: the subscription has not finished its answer, or has had no
  // "collections.changed" since the collection took its members.
  std::string silenceNote() const override;

  // For the feed, on the reader thread, with the token of the collection's attachment: the
  // scope's members have come (the collection takes the feed's list in its ordering), a
  // reported batch in every ordering the feed keeps, and the feed's end.
  void receiveLoad(uint64_t token);
  void receiveChanges(uint64_t token, const VLRemoteFeed::Batches& batches, const VLItemRef& observed);
  void receiveFailure(uint64_t token, const VLErrorRef& error);

 private:
  struct Posting {
    enum class Kind { Reload, Batch, Observed, Error };
    Kind kind = Kind::Reload;
    uint64_t generation = 0;
    VLCollectionModel::Snapshot items;  // Reload, Batch: the list as of this callback
    VLCollectionChanges changes;              // Batch
    VLItemRef observed;                       // Observed
    VLErrorRef error;                         // Error
  };

  VLRemoteCollection(std::shared_ptr<VLRemoteSession> session, nlohmann::json scope, VLErrorRef unavailable)
      : session_(std::move(session)), scope_(std::move(scope)), unavailable_(std::move(unavailable)) {}
  // Returns whether `token` is the live attachment's (caller holds mutex_).
  bool isCurrentLocked(uint64_t token) const;
  void failLocked(const VLErrorRef& error);
  // Takes the feed's list in the collection's ordering and posts it as a reload.
  void loadLocked();
  void postLocked(Posting posting);
  void deliver(const Posting& posting);

  const std::shared_ptr<VLRemoteSession> session_;
  const nlohmann::json scope_;
  const VLErrorRef unavailable_;

  // Held while a callback runs, so that stopObserving() can wait it out (recursive: a
  // delegate may stop the collection from inside a callback).
  std::recursive_mutex deliveryMutex_;

  mutable std::mutex mutex_;
  bool observing_ = false;                       // guarded by mutex_
  uint64_t generation_ = 0;                      // guarded by mutex_: bumped by start and stop
  std::shared_ptr<VLRemoteFeed> feed_;           // guarded by mutex_: null when not attached
  uint64_t token_ = 0;                           // guarded by mutex_: the attachment's, 0 when none
  bool loaded_ = false;                          // guarded by mutex_: the members have come
  uint64_t changesAtLoad_ = 0;                   // guarded by mutex_: the feed's changeCount() then
  bool failed_ = false;                          // guarded by mutex_: the error was posted
  std::vector<VLSortDescriptor> descriptors_;    // guarded by mutex_: the ordering asked for
  VLCollectionModel::Snapshot current_;    // guarded by mutex_: the list as of the latest posting
  VLCollectionModel::Snapshot delivered_;  // guarded by mutex_: the list the delegate last saw
};
