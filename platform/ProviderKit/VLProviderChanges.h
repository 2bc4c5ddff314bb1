// VLProviderChanges: how a store tells the provider kit that its items changed. The kit
// hands one to the store (VLProviderStore::attach) and passes every report on to each open
// session, where each subscription works out its own batch: the items that joined its scope
// or changed, the ones that left, and its container's own changes.
//
// Report each change the user would see at once as one call (one per action, typically):
// each call becomes at most one "collections.changed" per subscription. Name every item whose
// attributes or scope membership changed, including items that no longer exist and, when a
// folder is trashed or untrashed, what it holds (they leave or rejoin the working set and the
// provider scope). Thread-safe; never blocks on the host.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class VLProviderChanges {
 public:
  using Listener = std::function<void(const std::vector<std::string>& identifiers, bool everything)>;

  static std::shared_ptr<VLProviderChanges> make() { return std::shared_ptr<VLProviderChanges>(new VLProviderChanges); }

  // These items changed, were created or went away.
  void itemsChanged(std::vector<std::string> identifiers);
  // Anything may have changed (a lost notification, a resync): every open subscription is
  // enumerated again and compared with what it reported.
  void everythingChanged();

  // For the kit: `listener` hears every later report until the returned token is dropped.
  std::shared_ptr<void> listen(Listener listener);

 private:
  VLProviderChanges() = default;
  void publish(const std::vector<std::string>& identifiers, bool everything);

  std::mutex mutex_;
  std::vector<std::weak_ptr<Listener>> listeners_;  // guarded by mutex_
};
