#include "Vaultline/VLProviderFacts.h"

#include <vector>

#include "Core/VLException.h"
#include "Core/VLText.h"

const char* VLProviderFact::kindName(Kind kind) {
  switch (kind) {
    case Kind::ProtocolFault: return "protocol-fault";
    case Kind::StandardError: return "stderr";
    case Kind::ProviderGone: return "gone";
  }
  return "unknown";
}

VLProviderFacts::Subscription::~Subscription() {
  if (auto hub = hub_.lock()) hub->unsubscribe(id_);
}

std::shared_ptr<VLProviderFacts> VLProviderFacts::make() {
  return std::shared_ptr<VLProviderFacts>(new VLProviderFacts());
}

std::unique_ptr<VLProviderFacts::Subscription> VLProviderFacts::subscribe(Subscriber subscriber) {
  if (!subscriber) throw VLException("VLProviderFacts::subscribe: no subscriber given");
  std::lock_guard lock(mutex_);
  const uint64_t id = nextID_++;
  subscribers_.emplace(id, std::make_shared<const Subscriber>(std::move(subscriber)));
  return std::make_unique<Subscription>(weak_from_this(), id);
}

void VLProviderFacts::publish(const VLProviderFact& fact) {
  std::vector<std::shared_ptr<const Subscriber>> current;
  {
    std::lock_guard lock(mutex_);
    if (subscribers_.empty()) return;
    for (const auto& entry : subscribers_) current.push_back(entry.second);
  }
  // Subscribers keep what they get: they get no more of the provider's text than anyone keeps.
  if (fact.text.size() > kVLKeptTextLimit) {
    const VLProviderFact bounded{fact.kind, vl_boundedText(fact.text)};
    for (const auto& subscriber : current) (*subscriber)(bounded);
    return;
  }
  // Outside the lock, so that a subscriber may subscribe or end its subscription.
  for (const auto& subscriber : current) (*subscriber)(fact);
}

void VLProviderFacts::unsubscribe(uint64_t id) {
  std::lock_guard lock(mutex_);
  subscribers_.erase(id);
}
