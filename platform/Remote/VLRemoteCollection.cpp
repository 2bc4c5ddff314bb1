#include "Remote/VLRemoteCollection.h"

#include "Core/VLFormat.h"


using nlohmann::json;

std::shared_ptr<VLRemoteCollection> VLRemoteCollection::make(std::shared_ptr<VLRemoteSession> session, json scope,
                                                             VLErrorRef unavailable) {
  return std::shared_ptr<VLRemoteCollection>(
      new VLRemoteCollection(std::move(session), std::move(scope), std::move(unavailable)));
}

void VLRemoteCollection::startObserving() {
  std::lock_guard lock(mutex_);
  if (observing_) return;
  observing_ = true;
  ++generation_;
  loaded_ = failed_ = false;
  current_ = delivered_ = std::make_shared<const std::vector<VLItemRef>>();
  if (unavailable_) {
    failLocked(unavailable_);
    return;
  }
  // Under the lock, so that members arriving at once find the attachment recorded.
  auto [feed, attachment] = session_->subscribe(std::static_pointer_cast<VLRemoteCollection>(shared_from_this()), scope_);
  feed_ = std::move(feed);
  token_ = attachment.token;
  if (attachment.loaded) loadLocked();
}

void VLRemoteCollection::stopObserving() {
  std::shared_ptr<VLRemoteFeed> feed;
  uint64_t token;
  {
    // Waits for a callback in progress on another thread; re-entrant from inside a callback.
    std::lock_guard delivery(deliveryMutex_);
    std::lock_guard lock(mutex_);
    observing_ = false;
    ++generation_;
    feed = std::move(feed_);
    feed_.reset();
    token = token_;
    token_ = 0;
  }
  if (feed) session_->unsubscribe(feed, token);
}

std::vector<VLItemRef> VLRemoteCollection::items() const {
  std::lock_guard lock(mutex_);
  return delivered_ ? *delivered_ : std::vector<VLItemRef>{};
}

void VLRemoteCollection::reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) {
  std::lock_guard lock(mutex_);
  descriptors_ = descriptors;
  if (observing_ && loaded_ && !failed_) loadLocked();
}

std::string VLRemoteCollection::silenceNote() const {
  std::lock_guard lock(mutex_);
  if (!observing_ || failed_ || !feed_) return {};
  const std::string subscription = VLFormat("subscription %@ (scope %@)", feed_->number(), scope_.dump());
  if (!loaded_) return "The provider has not finished its answer to \"collections.subscribe\" for " + subscription + ".";
  const uint64_t changes = feed_->changeCount();
  if (changes > changesAtLoad_) return {};
  return changes == 0 ? "The provider sent no \"collections.changed\" for " + subscription + " since its answer."
                      : "The provider sent no \"collections.changed\" for " + subscription +
                            " since this collection took its members (its last came before).";
}

bool VLRemoteCollection::isCurrentLocked(uint64_t token) const {
  return observing_ && token != 0 && token == token_ && !failed_;
}

void VLRemoteCollection::receiveLoad(uint64_t token) {
  std::lock_guard lock(mutex_);
  if (isCurrentLocked(token)) loadLocked();
}

void VLRemoteCollection::loadLocked() {
  auto sorted = feed_ ? feed_->sorted(descriptors_) : nullptr;
  if (!sorted) return;  // the feed has ended meanwhile: its failure follows
  current_ = std::move(sorted);
  if (!loaded_) changesAtLoad_ = feed_->changeCount();
  loaded_ = true;
  postLocked({Posting::Kind::Reload, 0, current_, {}, nullptr, nullptr});
}

void VLRemoteCollection::receiveChanges(uint64_t token, const VLRemoteFeed::Batches& batches,
                                        const VLItemRef& observed) {
  std::lock_guard lock(mutex_);
  // The feed hands changes only after the members, so an unloaded collection is a stale one.
  if (!isCurrentLocked(token) || !loaded_) return;
  auto batch = batches.find(VLRemoteFeed::orderingKey(descriptors_));
  if (batch == batches.end()) {
    // A reorder asked for this ordering after the batch was worked out: its list has it.
    auto sorted = feed_ ? feed_->sorted(descriptors_) : nullptr;
    if (sorted && sorted != current_) {
      current_ = std::move(sorted);
      postLocked({Posting::Kind::Reload, 0, current_, {}, nullptr, nullptr});
    }
  } else if (batch->second.before == current_) {
    current_ = batch->second.after;
    if (!batch->second.changes.empty())
      postLocked({Posting::Kind::Batch, 0, current_, batch->second.changes, nullptr, nullptr});
  } else if (batch->second.after != current_) {
    // A reorder took the feed's list between two batches: the list as it is now, whole.
    current_ = batch->second.after;
    postLocked({Posting::Kind::Reload, 0, current_, {}, nullptr, nullptr});
  }
  if (observed) postLocked({Posting::Kind::Observed, 0, {}, {}, observed, nullptr});
}

void VLRemoteCollection::receiveFailure(uint64_t token, const VLErrorRef& error) {
  std::lock_guard lock(mutex_);
  if (isCurrentLocked(token)) failLocked(error);
}

void VLRemoteCollection::failLocked(const VLErrorRef& error) {
  failed_ = true;
  postLocked({Posting::Kind::Error, 0, {}, {}, nullptr, error});
}

void VLRemoteCollection::postLocked(Posting posting) {
  posting.generation = generation_;
  std::weak_ptr<VLItemCollection> weak = shared_from_this();
  workingQueue()->async([weak, posting = std::move(posting)] {
    if (auto self = std::static_pointer_cast<VLRemoteCollection>(weak.lock())) self->deliver(posting);
  });
}

void VLRemoteCollection::deliver(const Posting& posting) {
  std::lock_guard delivery(deliveryMutex_);
  {
    std::lock_guard lock(mutex_);
    if (!observing_ || posting.generation != generation_) return;
    if (posting.kind == Posting::Kind::Reload || posting.kind == Posting::Kind::Batch) delivered_ = posting.items;
  }
  auto delegate = this->delegate();
  if (!delegate) return;
  switch (posting.kind) {
    case Posting::Kind::Reload: delegate->dataForCollectionShouldBeReloaded(*this); break;
    case Posting::Kind::Batch:
      delegate->collectionDidPerformBatchUpdateWithReplayBlock(
          *this, [this, changes = posting.changes](VLItemCollectionIndexPathBasedDelegate& target) {
            changes.replay(*this, target);
          });
      break;
    case Posting::Kind::Observed: delegate->collectionDidUpdateObservedItem(*this, posting.observed); break;
    case Posting::Kind::Error: delegate->collectionDidEncounterError(*this, posting.error); break;
  }
}
