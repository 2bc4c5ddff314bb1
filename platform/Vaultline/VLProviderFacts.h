// VLProviderFacts: where a platform publishes what it learns about the provider itself,
// apart from any item or action: a protocol fault with its precise reason, a line the
// provider wrote to its standard error, the provider gone. Validators that record a trace
// subscribe while they run and turn each fact into a `provider` record.
//
// A platform that has such facts overrides VLPlatform::providerFacts() to return its own
// hub and calls publish() wherever it learns one; the default hub of a platform is never
// published into. Thread-safe: publish from any thread; each subscriber is called on the
// publishing thread, outside the hub's lock, and must be short (a validator only queues).
// Subscriptions end when their token is destroyed. Made by make(); neither copyable nor movable.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

// One fact about the provider.
struct VLProviderFact {
  enum class Kind {
    ProtocolFault,   // a message that broke the protocol; `text` names the field, what was expected and what came
    StandardError,   // one line of the provider's standard error, without its line break
    ProviderGone,    // the provider stopped answering (exited, closed its connection); `text` says how
  };
  Kind kind = Kind::ProtocolFault;
  std::string text;

  // Returns the fact's kind as written in traces: "protocol-fault", "stderr" or "gone".
  static const char* kindName(Kind kind);
};

class VLProviderFacts : public std::enable_shared_from_this<VLProviderFacts> {
 public:
  using Subscriber = std::function<void(const VLProviderFact& fact)>;

  // Ends its subscription when destroyed; after the destructor returns, the subscriber is
  // not called again (a call already under way on another thread may still finish).
  class Subscription {
   public:
    Subscription(std::weak_ptr<VLProviderFacts> hub, uint64_t id) : hub_(std::move(hub)), id_(id) {}
    ~Subscription();
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

   private:
    std::weak_ptr<VLProviderFacts> hub_;
    uint64_t id_;
  };

  // Makes a hub without subscribers.
  static std::shared_ptr<VLProviderFacts> make();

  // Calls `subscriber` with every fact published from now on until the returned token is
  // destroyed. Throws VLException for an empty subscriber.
  std::unique_ptr<Subscription> subscribe(Subscriber subscriber);
  // Hands `fact` to every current subscriber, in the order they subscribed, its text cut to
  // kVLKeptTextLimit bytes (vl_boundedText). Cheap when
  // nobody listens; never throws for want of subscribers.
  void publish(const VLProviderFact& fact);
  // Publishes a fact of `kind` with `text`.
  void publish(VLProviderFact::Kind kind, std::string text) { publish(VLProviderFact{kind, std::move(text)}); }

  VLProviderFacts(const VLProviderFacts&) = delete;
  VLProviderFacts& operator=(const VLProviderFacts&) = delete;

 private:
  VLProviderFacts() = default;
  void unsubscribe(uint64_t id);

  mutable std::mutex mutex_;  // guards the two fields below; subscribe and publish come from any thread
  std::map<uint64_t, std::shared_ptr<const Subscriber>> subscribers_;
  uint64_t nextID_ = 1;
};
