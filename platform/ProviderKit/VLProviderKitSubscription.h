// VLProviderKitSubscription: one collection subscription of a kit session. Either the kit
// works the scope out itself (from the store's enumeration, its contains() and the change
// reports) or the store keeps the scope and reports it through a sink (openScope()).
//
// Working it out: the answer lists every member, in pages of kPageSize; afterwards the
// subscription remembers, per member, a hash of what it last reported, so a change report
// becomes "updated" for members that joined or look different, "deleted" for members that
// left, and "observedItem" when a container scope's container changed. A container that is
// gone ends the subscription with "collections.failed".
//
// Kit-worked scopes are touched only on the session's serial queue; a store's sink may be
// called from any thread (its state has a mutex).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "ProviderKit/VLProviderStore.h"

class VLProviderKitSession;

class VLProviderKitSubscription : public std::enable_shared_from_this<VLProviderKitSubscription> {
 public:
  static constexpr size_t kPageSize = 1000;
  // Current state of the items a change report names (null: gone).
  using Lookups = std::map<std::string, VLItemRef, std::less<>>;

  VLProviderKitSubscription(std::weak_ptr<VLProviderKitSession> session, int64_t number, VLProviderScope scope,
                            std::string requestID)
      : session_(std::move(session)), number_(number), scope_(std::move(scope)), requestID_(std::move(requestID)) {}

  // Answers the subscribe request: from the store's own feed, or by enumerating.
  void start();
  // Kit-worked scopes: reports what the named items' changes mean for this scope.
  void apply(const Lookups& lookups);
  // Kit-worked scopes: enumerates again and reports the differences.
  void rescan();
  // Nothing is reported afterwards.
  void stop();
  bool isWorkedByKit() const { return !feed_; }
  int64_t number() const { return number_; }

  // The sink's side (store-kept scopes), also used by the kit's own answer.
  void answer(const std::vector<VLItemRef>& members);
  void fail(const VLErrorRef& error);
  void changed(const std::vector<VLItemRef>& updated, const std::vector<std::string>& deleted,
               const VLItemRef& observedItem);

 private:
  // Encodes `item` into `out` and returns the hash of its text.
  uint64_t encode(VLProviderKitSession& session, std::string& out, const VLItem& item) const;
  // Sends one "collections.changed" (`updated`: the encoded items, comma-separated), unless
  // there is nothing to say.
  void sendChanges(VLProviderKitSession& session, const std::string& updated, const std::vector<std::string>& deleted,
                   const std::string& observed);
  // The container's current state for "observedItem", when it changed since last reported.
  std::string observedIfChanged(VLProviderKitSession& session, const VLItemRef& container);

  const std::weak_ptr<VLProviderKitSession> session_;
  const int64_t number_;
  const VLProviderScope scope_;
  const std::string requestID_;
  std::shared_ptr<VLProviderScopeFeed> feed_;  // set once by start(); guarded by mutex_

  std::mutex mutex_;
  bool answered_ = false;  // guarded by mutex_
  bool over_ = false;      // guarded by mutex_
  // Kit-worked scopes only (serial queue): what the host was told.
  std::unordered_map<std::string, uint64_t> reported_;
  uint64_t observedHash_ = 0;
};
