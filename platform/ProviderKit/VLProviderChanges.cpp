#include "ProviderKit/VLProviderChanges.h"

#include <algorithm>

void VLProviderChanges::itemsChanged(std::vector<std::string> identifiers) {
  if (!identifiers.empty()) publish(identifiers, false);
}

void VLProviderChanges::everythingChanged() { publish({}, true); }

std::shared_ptr<void> VLProviderChanges::listen(Listener listener) {
  auto shared = std::make_shared<Listener>(std::move(listener));
  std::lock_guard lock(mutex_);
  listeners_.erase(
      std::remove_if(listeners_.begin(), listeners_.end(), [](const auto& weak) { return weak.expired(); }),
      listeners_.end());
  listeners_.push_back(shared);
  return shared;
}

void VLProviderChanges::publish(const std::vector<std::string>& identifiers, bool everything) {
  std::vector<std::shared_ptr<Listener>> live;
  {
    std::lock_guard lock(mutex_);
    for (const auto& weak : listeners_) {
      if (auto listener = weak.lock()) live.push_back(std::move(listener));
    }
  }
  // Outside the lock: a listener only queues work, but it may drop its own token.
  for (const auto& listener : live) (*listener)(identifiers, everything);
}
