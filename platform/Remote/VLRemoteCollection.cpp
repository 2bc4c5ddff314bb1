#include "Remote/VLRemoteCollection.h"

#include "Core/VLLog.h"
#include "Remote/VLProviderProtocolError.h"

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
  loaded_ = failed_ = paging_ = false;
  pages_.clear();
  model_.reload({});
  delivered_ = model_.snapshot();
  if (unavailable_) {
    failLocked(unavailable_);
    return;
  }
  // Under the lock, so that an answer arriving at once finds its subscription recorded.
  subscription_ = session_->subscribe(std::static_pointer_cast<VLRemoteCollection>(shared_from_this()), scope_);
}

void VLRemoteCollection::stopObserving() {
  uint64_t subscription;
  {
    // Waits for a callback in progress on another thread; re-entrant from inside a callback.
    std::lock_guard delivery(deliveryMutex_);
    std::lock_guard lock(mutex_);
    observing_ = false;
    ++generation_;
    subscription = subscription_;
    subscription_ = 0;
  }
  if (subscription) session_->unsubscribe(subscription);
}

std::vector<VLItemRef> VLRemoteCollection::items() const {
  std::lock_guard lock(mutex_);
  return delivered_ ? *delivered_ : std::vector<VLItemRef>{};
}

void VLRemoteCollection::reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) {
  std::lock_guard lock(mutex_);
  model_.setDescriptors(descriptors);
  if (observing_ && loaded_ && !failed_)
    postLocked({Posting::Kind::Reload, 0, model_.snapshot(), {}, nullptr, nullptr});
}

bool VLRemoteCollection::isCurrentLocked(uint64_t subscription) const {
  return observing_ && subscription != 0 && subscription == subscription_ && !failed_;
}

void VLRemoteCollection::receiveAnswer(uint64_t subscription, const VLRemoteSession::Answer& answer) {
  std::vector<VLItemRef> items;
  VLErrorRef reported;
  bool more = false;
  VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
    reported = session_->codec().decodeOptionalError(result);
    if (reported) return;
    items = session_->codec().decodeItems(result.field("items"));
    if (auto field = result.optionalField("more")) more = field->boolean();
  });
  std::lock_guard lock(mutex_);
  if (!isCurrentLocked(subscription)) return;
  if (error || reported) {
    // A fault of the protocol (not an error the provider chose to report) is the provider's bug:
    // it is logged as such, not only turned into the collection's error.
    if (error) VLLog::error("%@", error->localizedDescription());
    failLocked(error ? error : reported);
    return;
  }
  if (more) {
    paging_ = true;
    pages_ = std::move(items);
    return;
  }
  loadLocked(std::move(items));
}

void VLRemoteCollection::receivePage(uint64_t subscription, const VLRemoteJSONReader& params, const std::string& what) {
  std::vector<VLItemRef> items;
  bool more = false;
  try {
    items = session_->codec().decodeItems(params.field("items"));
    if (auto field = params.optionalField("more")) more = field->boolean();
  } catch (const VLRemoteJSONError& invalid) {
    failInvalid(subscription, what, invalid);
    return;
  }
  std::lock_guard lock(mutex_);
  if (!isCurrentLocked(subscription)) return;
  if (!paging_) {
    std::string why = "The provider " + session_->name() + " sent " + what +
                      ", but its answer to collections.subscribe did not say that more pages follow (\"more\": true).";
    VLLog::error("%@", why);
    session_->facts()->publish(VLProviderFact::Kind::ProtocolFault, why);
    failLocked(vl_providerProtocolError(VLProviderProtocolErrorInvalidAnswer, why));
    return;
  }
  pages_.insert(pages_.end(), std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()));
  if (more) return;
  paging_ = false;
  loadLocked(std::move(pages_));
  pages_.clear();
}

void VLRemoteCollection::loadLocked(std::vector<VLItemRef> items) {
  model_.reload(std::move(items));
  loaded_ = true;
  postLocked({Posting::Kind::Reload, 0, model_.snapshot(), {}, nullptr, nullptr});
}

void VLRemoteCollection::receiveChanges(uint64_t subscription, const VLRemoteJSONReader& params,
                                        const std::string& what) {
  std::vector<std::string> deleted;
  std::vector<VLItemRef> updated;
  VLItemRef observed;
  try {
    if (auto field = params.optionalField("deleted")) {
      for (const auto& identifier : field->array()) deleted.push_back(identifier.string());
    }
    if (auto field = params.optionalField("updated")) updated = session_->codec().decodeItems(*field);
    if (auto field = params.optionalField("observedItem")) observed = session_->codec().decodeItem(*field);
  } catch (const VLRemoteJSONError& invalid) {
    failInvalid(subscription, what, invalid);
    return;
  }
  std::lock_guard lock(mutex_);
  if (!isCurrentLocked(subscription)) return;
  if (!loaded_) {
    VLLog::error("The provider %@ sent %@ before %@ its collections.subscribe; the changes are ignored.",
                 session_->name(), what, paging_ ? "the last page of the answer to" : "answering");
    return;
  }
  auto changes = model_.apply(deleted, updated);
  if (!changes.empty()) postLocked({Posting::Kind::Batch, 0, model_.snapshot(), std::move(changes), nullptr, nullptr});
  if (observed) postLocked({Posting::Kind::Observed, 0, {}, {}, observed, nullptr});
}

void VLRemoteCollection::failInvalid(uint64_t subscription, const std::string& what, const VLRemoteJSONError& invalid) {
  VLLog::error("The provider %@ sent an invalid %@: %@", session_->name(), what, invalid.what());
  session_->facts()->publish(VLProviderFact::Kind::ProtocolFault, what + ": " + invalid.what());
  receiveFailure(subscription, vl_providerProtocolError(VLProviderProtocolErrorInvalidAnswer,
                                                        "The provider's " + what + " is not valid: " + invalid.what()));
}

void VLRemoteCollection::receiveFailure(uint64_t subscription, const VLErrorRef& error) {
  std::lock_guard lock(mutex_);
  if (isCurrentLocked(subscription)) failLocked(error);
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
