#include "Remote/VLRemoteFeed.h"

#include <algorithm>
#include <atomic>

#include "Core/VLFormat.h"
#include "Core/VLLog.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLProviderProtocolError.h"
#include "Remote/VLRemoteCollection.h"
#include "Remote/VLRemoteSession.h"

namespace {
std::atomic<uint64_t> nextAttachmentToken{1};

// The attached collections that are still alive, copied so that they are called unlocked.
std::vector<std::pair<uint64_t, std::shared_ptr<VLRemoteCollection>>> liveCollections(
    const std::vector<std::pair<uint64_t, std::weak_ptr<VLRemoteCollection>>>& attached) {
  std::vector<std::pair<uint64_t, std::shared_ptr<VLRemoteCollection>>> live;
  for (const auto& [token, weak] : attached) {
    if (auto collection = weak.lock()) live.emplace_back(token, std::move(collection));
  }
  return live;
}
}  // namespace

size_t VLRemoteFeed::memberCount() const {
  std::lock_guard lock(mutex_);
  return members_.size();
}

bool VLRemoteFeed::hasEnded() const {
  std::lock_guard lock(mutex_);
  return state_ == State::Ended;
}

bool VLRemoteFeed::isLoaded() const {
  std::lock_guard lock(mutex_);
  return state_ == State::Loaded;
}

uint64_t VLRemoteFeed::changeCount() const {
  std::lock_guard lock(mutex_);
  return changeCount_;
}

bool VLRemoteFeed::waitUntilSettled(double seconds) {
  if (!settled_->wait(seconds)) return false;
  settled_->signal();
  return true;
}

std::optional<VLRemoteFeed::Attachment> VLRemoteFeed::attach(const std::shared_ptr<VLRemoteCollection>& collection) {
  std::lock_guard lock(mutex_);
  if (state_ == State::Ended) return std::nullopt;
  Attachment attachment;
  attachment.token = nextAttachmentToken++;
  attached_.emplace_back(attachment.token, collection);
  attachment.loaded = state_ == State::Loaded;
  return attachment;
}

std::string VLRemoteFeed::orderingKey(const std::vector<VLSortDescriptor>& descriptors) {
  std::string key;
  for (const auto& descriptor : descriptors) key += (descriptor.ascending ? "+" : "-") + descriptor.key + "\n";
  return key;
}

VLRemoteFeed::Snapshot VLRemoteFeed::sorted(const std::vector<VLSortDescriptor>& descriptors) {
  std::lock_guard lock(mutex_);
  if (state_ != State::Loaded) return nullptr;
  auto [ordering, added] = orderings_.try_emplace(orderingKey(descriptors));
  if (added) {
    ordering->second.setDescriptors(descriptors);
    ordering->second.reload(membersLocked());
  }
  return ordering->second.snapshot();
}

size_t VLRemoteFeed::detach(uint64_t token) {
  std::lock_guard lock(mutex_);
  std::erase_if(attached_, [token](const auto& entry) { return entry.first == token; });
  return attached_.size();
}

std::vector<VLItemRef> VLRemoteFeed::membersLocked() const {
  std::vector<VLItemRef> members;
  members.reserve(members_.size());
  for (const auto& [identifier, item] : members_) members.push_back(item);
  return members;
}

void VLRemoteFeed::receiveAnswer(const VLRemoteConnection::Answer& answer) {
  auto session = session_.lock();
  if (!session) return;
  std::vector<VLItemRef> items;
  VLErrorRef reported;
  bool more = false;
  VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
    reported = session->codec().decodeOptionalError(result);
    if (reported) return;
    items = session->codec().decodeItems(result.field("items"));
    if (auto field = result.optionalField("more")) more = field->boolean();
  });
  if (error || reported) {
    // A fault of the protocol (not an error the provider chose to report) is the provider's
    // bug: it is logged as such, not only turned into the collections' error.
    if (error) VLLog::error("%@", error->localizedDescription());
    end(error ? error : reported);
    return;
  }
  if (more) {
    std::string fault;
    {
      std::lock_guard lock(mutex_);
      if (state_ != State::Pending) return;
      state_ = State::Paging;
      pages_ = std::move(items);
      fault = pagingFaultLocked(0, pages_.size(), *session);
    }
    if (!fault.empty()) {
      failPaging(fault);
      return;
    }
    double left = session->options().requestTimeout -
                  std::chrono::duration<double>(std::chrono::steady_clock::now() - requested_).count();
    watchPaging(left);
    return;
  }
  load(std::move(items));
}

std::string VLRemoteFeed::pagingFaultLocked(size_t pages, size_t members, const VLRemoteSession& session,
                                            bool outOfTime) const {
  const auto& options = session.options();
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - requested_).count();
  std::string passed;
  if (pages > options.maximumPages) {
    passed = "more than " + std::to_string(options.maximumPages) + " pages";
  } else if (members > options.maximumPagedMembers) {
    passed = "more than " + std::to_string(options.maximumPagedMembers) + " members";
  } else if (outOfTime || seconds > options.requestTimeout) {
    passed = "more than " + VLFormat("%g", options.requestTimeout) + " s (the request time-out)";
  } else {
    return "";
  }
  return "The provider " + session.name() + "'s paged answer to collections.subscribe for subscription " +
         std::to_string(number_) + " did not end within its bounds: it took " + passed + "; after " +
         std::to_string(pages) + " pages of collections.items, " + std::to_string(members) + " members and " +
         VLFormat("%.1f", seconds) + " s it had not sent its last page.";
}

void VLRemoteFeed::watchPaging(double seconds) {
  std::weak_ptr<VLRemoteFeed> weak = weak_from_this();
  auto settled = settled_;
  // A watcher per paged answer, which is rare; it wakes as soon as the feed loads or ends.
  VLBackgroundQueue::shared().async([weak, settled, seconds] {
    if (settled->wait(std::max(seconds, 0.0))) {
      settled->signal();  // handed on, as waitUntilSettled does
      return;
    }
    auto feed = weak.lock();
    if (!feed) return;
    auto session = feed->session_.lock();
    if (!session) return;
    std::string fault;
    {
      std::lock_guard lock(feed->mutex_);
      if (feed->state_ != State::Paging) return;
      fault = feed->pagingFaultLocked(feed->pageCount_, feed->pages_.size(), *session, true);
    }
    if (!fault.empty()) feed->failPaging(fault);
  });
}

void VLRemoteFeed::failPaging(const std::string& why) {
  if (auto session = session_.lock()) {
    VLLog::error("%@", why);
    session->facts()->publish(VLProviderFact::Kind::ProtocolFault, why);
  }
  end(vl_providerProtocolError(VLProviderProtocolErrorInvalidAnswer, why));
}

void VLRemoteFeed::receivePage(const VLRemoteJSONReader& params, const std::string& what) {
  auto session = session_.lock();
  if (!session) return;
  std::vector<VLItemRef> items;
  bool more = false;
  try {
    items = session->codec().decodeItems(params.field("items"));
    if (auto field = params.optionalField("more")) more = field->boolean();
  } catch (const VLRemoteJSONError& invalid) {
    failInvalid(what, invalid);
    return;
  }
  std::vector<VLItemRef> all;
  std::string fault;
  {
    std::lock_guard lock(mutex_);
    if (state_ == State::Ended) return;
    if (state_ == State::Paging) {
      ++pageCount_;
      pages_.insert(pages_.end(), std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()));
      if (more) fault = pagingFaultLocked(pageCount_, pages_.size(), *session);
      if (more && fault.empty()) return;
      all = std::move(pages_);
      pages_.clear();
      state_ = State::Pending;  // until load() makes it Loaded: the reader thread is the only writer
    } else {
      all.clear();
      more = true;  // marks the page as unexpected
    }
  }
  if (!fault.empty()) {
    failPaging(fault);
    return;
  }
  if (more) {
    std::string why = "The provider " + session->name() + " sent " + what +
                      ", but its answer to collections.subscribe did not say that more pages follow (\"more\": true).";
    VLLog::error("%@", why);
    session->facts()->publish(VLProviderFact::Kind::ProtocolFault, why);
    end(vl_providerProtocolError(VLProviderProtocolErrorInvalidAnswer, why));
    return;
  }
  load(std::move(all));
}

void VLRemoteFeed::load(std::vector<VLItemRef> items) {
  std::vector<std::pair<uint64_t, std::shared_ptr<VLRemoteCollection>>> live;
  {
    std::lock_guard lock(mutex_);
    if (state_ == State::Ended) return;
    members_.clear();
    members_.reserve(items.size());
    // Of repeated identifiers the last wins, as in a collection's own list.
    for (auto& item : items) members_[item->itemIdentifier()] = std::move(item);
    orderings_.clear();  // sorted again when first asked for
    state_ = State::Loaded;
    live = liveCollections(attached_);
  }
  settled_->signal();
  for (const auto& [token, collection] : live) collection->receiveLoad(token);
}

void VLRemoteFeed::receiveChanges(const VLRemoteJSONReader& params, const std::string& what) {
  auto session = session_.lock();
  if (!session) return;
  std::vector<std::string> deleted;
  std::vector<VLItemRef> updated;
  VLItemRef observed;
  Batches batches;
  try {
    if (auto field = params.optionalField("deleted")) {
      for (const auto& identifier : field->array()) deleted.push_back(identifier.string());
    }
    if (auto field = params.optionalField("updated")) updated = session->codec().decodeItems(*field);
    if (auto field = params.optionalField("observedItem")) observed = session->codec().decodeItem(*field);
  } catch (const VLRemoteJSONError& invalid) {
    failInvalid(what, invalid);
    return;
  }
  std::vector<std::pair<uint64_t, std::shared_ptr<VLRemoteCollection>>> live;
  {
    std::lock_guard lock(mutex_);
    if (state_ == State::Ended) return;
    if (state_ != State::Loaded) {
      VLLog::error("The provider %@ sent %@ before %@ its collections.subscribe; the changes are ignored.",
                   session->name(), what, state_ == State::Paging ? "the last page of the answer to" : "answering");
      return;
    }
    ++changeCount_;
    for (const auto& identifier : deleted) members_.erase(identifier);
    for (const auto& item : updated) members_[item->itemIdentifier()] = item;
    for (auto& [key, ordering] : orderings_) {
      Batch batch;
      batch.before = ordering.snapshot();
      batch.changes = ordering.apply(deleted, updated);
      batch.after = ordering.snapshot();
      batches.emplace(key, std::move(batch));
    }
    live = liveCollections(attached_);
  }
  for (const auto& [token, collection] : live) collection->receiveChanges(token, batches, observed);
}

void VLRemoteFeed::failInvalid(const std::string& what, const VLRemoteJSONError& invalid) {
  if (auto session = session_.lock()) {
    VLLog::error("The provider %@ sent an invalid %@: %@", session->name(), what, invalid.what());
    session->facts()->publish(VLProviderFact::Kind::ProtocolFault, what + ": " + invalid.what());
  }
  end(vl_providerProtocolError(VLProviderProtocolErrorInvalidAnswer,
                               "The provider's " + what + " is not valid: " + invalid.what()));
}

void VLRemoteFeed::receiveFailure(const VLErrorRef& error) { end(error); }

void VLRemoteFeed::end(const VLErrorRef& error) {
  std::vector<std::pair<uint64_t, std::shared_ptr<VLRemoteCollection>>> live;
  {
    std::lock_guard lock(mutex_);
    if (state_ == State::Ended) return;
    state_ = State::Ended;
    members_.clear();
    orderings_.clear();
    pages_.clear();
    live = liveCollections(attached_);
    attached_.clear();
  }
  settled_->signal();
  // The session no longer offers an ended feed to new collections.
  if (auto session = session_.lock()) session->forgetFeed(number_);
  for (const auto& [token, collection] : live) collection->receiveFailure(token, error);
}
