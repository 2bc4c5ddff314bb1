// VLRemoteFeed: one provider subscription to one scope, shared by every host collection
// over that scope. It decodes the provider's answer (with its pages) and each reported batch
// of changes once, keeps the scope's current members, and hands the decoded data to the
// collections attached to it. A collection that attaches to a loaded feed gets the members
// at once instead of a new enumeration: a big working set is enumerated once per session,
// not once per case.
//
// It also keeps one sorted list per ordering that its collections ask for (sorted()), shared
// by all of them: a scope is sorted once per ordering, not once per collection, and each
// reported batch moves every changed member by binary search in each ordering once and works
// out the index-path changes once, for every collection with that ordering.
//
// Thread-safe. Collections are called on the reader thread, never with the feed's lock held,
// in the order the notifications arrived. Made and owned by VLRemoteSession.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Dispatch/VLSemaphore.h"
#include "Vaultline/VLCollectionModel.h"
#include "Remote/VLRemoteConnection.h"
#include "Core/VLError.h"
#include "Vaultline/VLItem.h"

class VLRemoteCollection;
class VLRemoteJSONError;
class VLRemoteJSONReader;
class VLRemoteSession;

class VLRemoteFeed : public std::enable_shared_from_this<VLRemoteFeed> {
 public:
  // A collection's place on the feed: `token` names it in every later call; `loaded` says
  // whether the feed had the scope's members already (otherwise VLRemoteCollection::receiveLoad
  // says when they come).
  struct Attachment {
    uint64_t token = 0;
    bool loaded = false;
  };
  using Snapshot = VLCollectionModel::Snapshot;
  // One reported batch in one ordering: the sorted list before and after, and the changes
  // between them.
  struct Batch {
    Snapshot before, after;
    VLCollectionChanges changes;
  };
  // A batch in every ordering the feed keeps, by orderingKey().
  using Batches = std::map<std::string, Batch>;

  // A feed for subscription `number` of `session`; the subscribe request is the session's.
  VLRemoteFeed(std::weak_ptr<VLRemoteSession> session, uint64_t number)
      : session_(std::move(session)), number_(number) {}

  uint64_t number() const { return number_; }
  // How many members the scope had when last reported (0 before the answer).
  size_t memberCount() const;
  // Whether the feed has ended (failed, or the provider is gone): it takes no collection.
  bool hasEnded() const;
  // Whether the scope's members have come.
  bool isLoaded() const;
  // How many batches of changes the provider has reported since its answer.
  uint64_t changeCount() const;
  // Waits until the members have come or the feed has ended, for at most `seconds`; returns
  // whether it did.
  bool waitUntilSettled(double seconds);

  // Attaches `collection`; its token is unique in the process, so a collection that starts
  // again on another feed never takes a stale call for its own. Returns nullopt when the
  // feed has ended.
  std::optional<Attachment> attach(const std::shared_ptr<VLRemoteCollection>& collection);
  // Detaches the collection with `token`; returns how many stay attached.
  size_t detach(uint64_t token);

  // Returns the members sorted by `descriptors`, the one list every collection with that
  // ordering shares (sorted on the first request, then kept up to date with each batch);
  // null before the members have come and after the end.
  Snapshot sorted(const std::vector<VLSortDescriptor>& descriptors);
  // The name of an ordering among the feed's Batches.
  static std::string orderingKey(const std::vector<VLSortDescriptor>& descriptors);

  // From the session, on the reader thread: the subscription's answer, a further page, a
  // reported batch of changes, and its end (reported by the provider, or the session's end).
  void receiveAnswer(const VLRemoteConnection::Answer& answer);
  void receivePage(const VLRemoteJSONReader& params, const std::string& what);
  void receiveChanges(const VLRemoteJSONReader& params, const std::string& what);
  void receiveFailure(const VLErrorRef& error);

 private:
  enum class State { Pending, Paging, Loaded, Ended };
  using Attached = std::vector<std::pair<uint64_t, std::weak_ptr<VLRemoteCollection>>>;

  // Ends the feed over an invalid notification (`what` names it): logged, published as a
  // protocol fault, and delivered to every attached collection as its error.
  void failInvalid(const std::string& what, const VLRemoteJSONError& invalid);
  // Whether the paged answer so far (`pages` after the answer, `members` in all) passed a
  // bound (`outOfTime`: the time-out has passed), and if so the reason naming it; or ""
  // (caller holds mutex_).
  std::string pagingFaultLocked(size_t pages, size_t members, const VLRemoteSession& session,
                                bool outOfTime = false) const;
  // Ends the feed over a paged answer that passed a bound.
  void failPaging(const std::string& why);
  // Fails the feed when its paged answer has not ended by the request time-out, even if the
  // provider sends nothing more.
  void watchPaging(double seconds);
  // Makes the members those of `items`, and hands them to every attached collection.
  void load(std::vector<VLItemRef> items);
  // Ends the feed and tells every attached collection.
  void end(const VLErrorRef& error);
  std::vector<VLItemRef> membersLocked() const;

  const std::weak_ptr<VLRemoteSession> session_;
  const uint64_t number_;
  // When the subscription was requested (the feed is made just before): the paging clock.
  const std::chrono::steady_clock::time_point requested_ = std::chrono::steady_clock::now();
  // Signalled once, when the feed loads or ends; waiters hand the signal on.
  const std::shared_ptr<VLSemaphore> settled_ = VLSemaphore::make(0);

  mutable std::mutex mutex_;
  State state_ = State::Pending;                         // guarded by mutex_
  std::vector<VLItemRef> pages_;                         // guarded by mutex_: members the pages so far gave
  size_t pageCount_ = 0;                                 // guarded by mutex_: collections.items received
  uint64_t changeCount_ = 0;                             // guarded by mutex_: collections.changed taken
  std::unordered_map<std::string, VLItemRef> members_;   // guarded by mutex_: by identifier, once loaded
  std::map<std::string, VLCollectionModel> orderings_;  // guarded by mutex_: by orderingKey(), once asked for
  Attached attached_;                                    // guarded by mutex_
};
