#include "ProviderKit/VLProviderKitSession.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "Dispatch/VLBackgroundQueue.h"
#include "ProviderKit/VLProviderKitSubscription.h"
#include "Remote/VLProtocolMethod.h"
#include "Remote/VLRemoteMessage.h"

// The session itself: framing, the handshake, dispatch and subscriptions. The methods are
// carried out in VLProviderKitSessionMethods.cpp.

using nlohmann::json;

namespace {

constexpr int64_t kKitProtocolVersion = 1;

std::string kitIDText(const json& id) { return id.dump(); }

}  // namespace

std::shared_ptr<VLProviderKitSession> VLProviderKitSession::make(int input, int output,
                                                                 std::shared_ptr<VLProviderStore> store,
                                                                 std::shared_ptr<VLProviderChanges> changes,
                                                                 bool trace) {
  return std::shared_ptr<VLProviderKitSession>(
      new VLProviderKitSession(input, output, std::move(store), std::move(changes), trace));
}

VLProviderKitSession::VLProviderKitSession(int input, int output, std::shared_ptr<VLProviderStore> store,
                                           std::shared_ptr<VLProviderChanges> changes, bool trace)
    : input_(input),
      output_(output),
      store_(std::move(store)),
      changes_(std::move(changes)),
      identity_(store_->identity()),
      codec_(identity_.providerIdentifier,
             identity_.providerID.empty() ? identity_.providerIdentifier : identity_.providerID),
      encoder_(codec_.providerIdentifier(), codec_.providerID()),
      trace_(trace),
      queue_(VLDispatchQueue::make("provider-kit-session")) {}

void VLProviderKitSession::run() {
  std::string buffer;
  bool skipping = false;  // inside a line that is already too long
  char chunk[65536];
  for (;;) {
    ssize_t count = ::read(input_, chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    buffer.append(chunk, static_cast<size_t>(count));
    size_t start = 0;
    for (size_t end; (end = buffer.find('\n', start)) != std::string::npos; start = end + 1) {
      if (skipping) {
        skipping = false;
        continue;
      }
      handleLine(std::string_view(buffer).substr(start, end - start));
    }
    buffer.erase(0, start);
    if (!skipping && buffer.size() > VLRemoteMessage::kMaximumLineLength) {
      replyError("null", VLRemoteParseError, "the line is longer than 16 MiB");
      skipping = true;
    }
    if (skipping) buffer.clear();
  }
  finish();
}

void VLProviderKitSession::finish() {
  std::map<int64_t, std::shared_ptr<VLProviderKitSubscription>> open;
  std::shared_ptr<void> listening;
  {
    std::lock_guard lock(mutex_);
    ended_ = true;
    open.swap(subscriptions_);
    listening.swap(listening_);
  }
  idle_.notify_all();
  if (poller_.joinable()) poller_.join();
  listening.reset();
  queue_->sync([&] {
    for (auto& [number, subscription] : open) subscription->stop();
  });
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [this] { return inFlight_ == 0; });
}

void VLProviderKitSession::write(const std::string& line) {
  std::lock_guard lock(writeMutex_);
  if (trace_) std::fprintf(stderr, "\u2190 %s", line.c_str());
  const char* data = line.data();
  size_t left = line.size();
  while (left > 0) {
    ssize_t written = ::write(output_, data, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;  // the host has gone; the input ends too
    data += written;
    left -= static_cast<size_t>(written);
  }
}

void VLProviderKitSession::reply(const std::string& id, const std::string& result) {
  std::string line;
  line.reserve(result.size() + id.size() + 40);
  line += "{\"jsonrpc\":\"2.0\",\"id\":";
  line += id;
  line += ",\"result\":";
  line += result;
  line += "}\n";
  write(line);
}

void VLProviderKitSession::notify(const char* method, const std::string& params) {
  std::string line;
  line.reserve(params.size() + 64);
  line += "{\"jsonrpc\":\"2.0\",\"method\":";
  VLProviderKitEncoder::string(line, method);
  line += ",\"params\":";
  line += params;
  line += "}\n";
  write(line);
}

void VLProviderKitSession::replyError(const std::string& id, int64_t code, const std::string& message,
                                      const std::string& data) {
  std::string line = "{\"jsonrpc\":\"2.0\",\"id\":" + id + ",\"error\":";
  VLProviderKitObject error(line);
  error.integer("code", code);
  error.string("message", message);
  if (!data.empty()) error.raw("data", data);
  error.close();
  line += "}\n";
  write(line);
}

void VLProviderKitSession::drop(int64_t number) {
  std::shared_ptr<VLProviderKitSubscription> ended;
  {
    std::lock_guard lock(mutex_);
    auto found = subscriptions_.find(number);
    if (found == subscriptions_.end()) return;
    ended = std::move(found->second);
    subscriptions_.erase(found);
  }
  // A store's feed may report the failure from inside its own callback: the subscription (and
  // the feed it owns) is stopped and let go on the session's queue, never inside that callback.
  queue_->async([ended] { ended->stop(); });
}

void VLProviderKitSession::handleLine(std::string_view line) {
  if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
  if (trace_) std::fprintf(stderr, "\u2192 %.*s\n", static_cast<int>(line.size()), line.data());
  auto message = std::make_shared<VLRemoteMessage>();
  try {
    *message = VLRemoteMessage::parse(line);
  } catch (const VLRemoteMalformedMessage& malformed) {
    replyError(malformed.id() ? std::to_string(*malformed.id()) : "null",
               malformed.isJSON() ? VLRemoteInvalidRequest : VLRemoteParseError, malformed.what());
    return;
  }
  bool isRequest = message->kind == VLRemoteMessage::Kind::Request;
  if (!isRequest && message->kind != VLRemoteMessage::Kind::Notification) return;  // answers to nothing we asked
  std::string id = isRequest ? kitIDText(message->id) : "null";
  const VLProtocolMethod* method = VLProtocolMethod::find(message->method);
  bool known = method && method->sender == VLProtocolMethod::Sender::Host && method->answered == isRequest;
  if (!known) {
    if (isRequest) replyError(id, VLRemoteMethodNotFound, "unknown method \"" + message->method + "\"");
    return;
  }
  bool isInitialize = message->method == VLProtocolMethod::kInitialize;
  {
    std::lock_guard lock(mutex_);
    if (!initialized_ && !isInitialize) {
      if (isRequest) replyError(id, VLRemoteInvalidRequest, "the session begins with \"initialize\"");
      return;
    }
  }
  try {
    VLRemoteJSONReader params(message->params, "params");
    method->checkParameters(params);
    if (isInitialize) {
      initialize(id, params);
    } else if (message->method == VLProtocolMethod::kCollectionsSubscribe) {
      subscribe(id, params);
    } else if (message->method == VLProtocolMethod::kCollectionsUnsubscribe) {
      unsubscribe(params);
    } else {
      auto handler = handlers().find(message->method);
      if (handler == handlers().end()) {
        replyError(id, VLRemoteMethodNotFound, "unknown method \"" + message->method + "\"");
        return;
      }
      dispatch(id, handler->second, std::shared_ptr<json>(message, &message->params));
    }
  } catch (const VLRemoteJSONError& invalid) {
    if (isRequest) replyError(id, VLRemoteInvalidParams, invalid.what());
  }
}

void VLProviderKitSession::dispatch(const std::string& id, Handler handler, std::shared_ptr<json> params) {
  {
    std::lock_guard lock(mutex_);
    ++inFlight_;
  }
  auto self = shared_from_this();
  VLBackgroundQueue::shared().async([self, id, handler, params] {
    try {
      std::string result = (self.get()->*handler)(VLRemoteJSONReader(*params, "params"));
      self->reply(id, result);
    } catch (const VLRemoteJSONError& invalid) {
      self->replyError(id, VLRemoteInvalidParams, invalid.what());
    } catch (const VLProviderStoreBadRequest& bad) {
      self->replyError(id, VLRemoteInvalidParams, bad.what());
    } catch (const std::exception& failure) {
      self->replyError(id, VLRemoteInternalError, std::string("the provider failed: ") + failure.what());
    }
    std::lock_guard lock(self->mutex_);
    if (--self->inFlight_ == 0) self->idle_.notify_all();
  });
}

void VLProviderKitSession::initialize(const std::string& id, const VLRemoteJSONReader& params) {
  int64_t version = params.field("protocolVersion").integer();
  if (version != kKitProtocolVersion) {
    replyError(id, VLRemoteUnsupportedVersion, "unsupported protocol version " + std::to_string(version),
               "{\"supported\":[1]}");
    return;
  }
  std::string result;
  VLProviderKitObject object(result);
  object.integer("protocolVersion", kKitProtocolVersion);
  {
    VLProviderKitObject record(object.key("provider"));
    record.string("identifier", identity_.identifier);
    record.string("providerIdentifier", codec_.providerIdentifier());
    record.string("providerID", codec_.providerID());
    if (identity_.domain) {
      VLProviderKitObject domain(record.key("domain"));
      if (identity_.domain->identifier) {
        domain.string("identifier", *identity_.domain->identifier);
      } else {
        domain.raw("identifier", "null");
      }
      domain.string("displayName", identity_.domain->displayName);
      domain.close();
    }
    record.close();
  }
  object.string("platformRevision", identity_.olderPlatformRevision ? "older" : "current");
  {
    VLProviderKitObject properties(object.key("deviceProperties"));
    for (const auto& [name, value] : identity_.deviceProperties) properties.boolean(name, value);
    properties.close();
  }
  object.close();
  bool first = false;
  {
    std::lock_guard lock(mutex_);
    first = !initialized_;
    initialized_ = true;
    if (first) {
      std::weak_ptr<VLProviderKitSession> weak = weak_from_this();
      listening_ = changes_->listen([weak](const std::vector<std::string>& identifiers, bool everything) {
        if (auto self = weak.lock()) {
          self->queue_->async([weak, identifiers, everything] {
            if (auto self = weak.lock()) self->applyChanges(identifiers, everything);
          });
        }
      });
      if (auto interval = store_->pollInterval()) {
        poller_ = std::thread([this, interval] { pollLoop(*interval); });
      }
    }
  }
  reply(id, result);
}

void VLProviderKitSession::pollLoop(std::chrono::milliseconds interval) {
  std::unique_lock lock(mutex_);
  while (!ended_) {
    if (idle_.wait_for(lock, interval, [this] { return ended_; })) break;
    std::weak_ptr<VLProviderKitSession> weak = weak_from_this();
    queue_->async([weak] {
      if (auto self = weak.lock()) self->applyChanges({}, true);
    });
  }
}

void VLProviderKitSession::subscribe(const std::string& id, const VLRemoteJSONReader& params) {
  int64_t number = params.field("subscription").integer();
  auto scopeField = params.field("scope");
  std::string kind = scopeField.field("kind").string();
  VLProviderScope scope;
  if (kind == "container") {
    scope.kind = VLProviderScope::Kind::Container;
    scope.container = scopeField.field("container").string();
  } else if (kind == "workingSet") {
    scope.kind = VLProviderScope::Kind::WorkingSet;
  } else if (kind == "provider") {
    scope.kind = VLProviderScope::Kind::Provider;
  } else {
    scopeField.field("kind").fail("expected \"container\", \"workingSet\" or \"provider\", got \"" + kind + "\"");
  }
  auto subscription = std::make_shared<VLProviderKitSubscription>(weak_from_this(), number, scope, id);
  {
    std::lock_guard lock(mutex_);
    if (!subscriptions_.emplace(number, subscription).second) {
      params.field("subscription").fail("subscription " + std::to_string(number) + " is already open");
    }
    ++inFlight_;
  }
  auto self = shared_from_this();
  queue_->async([self, subscription] {
    try {
      subscription->start();
    } catch (const std::exception& failure) {
      subscription->fail(VLError::makeWithCurrentException("Enumerating the scope"));
    }
    std::lock_guard lock(self->mutex_);
    if (--self->inFlight_ == 0) self->idle_.notify_all();
  });
}

void VLProviderKitSession::unsubscribe(const VLRemoteJSONReader& params) {
  std::shared_ptr<VLProviderKitSubscription> subscription;
  {
    std::lock_guard lock(mutex_);
    auto found = subscriptions_.find(params.field("subscription").integer());
    if (found == subscriptions_.end()) return;
    subscription = found->second;
    subscriptions_.erase(found);
  }
  queue_->async([subscription] { subscription->stop(); });
}

void VLProviderKitSession::applyChanges(const std::vector<std::string>& identifiers, bool everything) {
  std::vector<std::shared_ptr<VLProviderKitSubscription>> open;
  {
    std::lock_guard lock(mutex_);
    if (ended_) return;
    for (const auto& [number, subscription] : subscriptions_) {
      if (subscription->isWorkedByKit()) open.push_back(subscription);
    }
  }
  if (open.empty()) return;
  try {
    if (everything) {
      for (const auto& subscription : open) subscription->rescan();
      return;
    }
    VLProviderKitSubscription::Lookups lookups;
    for (const auto& identifier : identifiers) {
      if (lookups.count(identifier)) continue;
      lookups[identifier] = store_->lookup(identifier).item;
    }
    for (const auto& subscription : open) subscription->apply(lookups);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "provider kit: a change report failed: %s\n", failure.what());
  }
}
