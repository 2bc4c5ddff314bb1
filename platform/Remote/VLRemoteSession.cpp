#include "Remote/VLRemoteSession.h"

#include <unistd.h>

#include <vector>

#include "Core/VLLog.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Dispatch/VLSemaphore.h"
#include "Remote/VLProtocolMethod.h"
#include "Remote/VLProviderProtocolError.h"
#include "Remote/VLRemoteCollection.h"

using nlohmann::json;

namespace {
// How much longer than the request time-out a waiting caller waits: the connection's own
// time-out always answers first; this only guards against a lost answer.
const double kWaitMargin = 5.0;
}  // namespace

std::shared_ptr<VLRemoteSession> VLRemoteSession::open(std::unique_ptr<VLRemoteTransport> transport, Options options) {
  auto facts = VLProviderFacts::make();
  transport->setStandardErrorHandler(
      [facts](const std::string& line) { facts->publish(VLProviderFact::Kind::StandardError, line); });
  std::shared_ptr<VLRemoteSession> session(
      new VLRemoteSession(VLRemoteConnection::make(std::move(transport)), options, facts));
  session->connection_->setFaultHandler(
      [facts](const std::string& reason) { facts->publish(VLProviderFact::Kind::ProtocolFault, reason); });
  std::weak_ptr<VLRemoteSession> weak = session;
  if (options.protocolLog) session->connection_->setProtocolLog(options.protocolLog);
  session->connection_->start(
      [weak](const std::string& method, const VLRemoteJSONReader& params) {
        if (auto self = weak.lock()) self->handleNotification(method, params);
      },
      [weak](const VLErrorRef& reason) {
        if (auto self = weak.lock()) self->handleEnd(reason);
      });
  try {
    session->handshake();
  } catch (...) {
    session->close();
    throw;
  }
  return session;
}

void VLRemoteSession::learnWorkingSet(bool hasWorkingSet) {
  if (!options_.watchWorkingSet || !hasWorkingSet) return;
  {
    std::lock_guard lock(mutex_);
    if (workingSetWatched_) return;
    workingSetWatched_ = true;
  }
  // Half the request time-out, so that the eligibility question this delays still gets its
  // answer in time; an enumeration that fails or takes longer is left to the cases.
  if (auto feed = watch(workingSetScope())) feed->waitUntilSettled(options_.requestTimeout / 2);
}

void VLRemoteSession::handshake() {
  auto done = VLSemaphore::make(0);
  auto answer = std::make_shared<Answer>();
  json params = {{"protocolVersion", kProtocolVersion},
                 {"host", {{"name", "vlvalidate"}, {"processID", static_cast<int64_t>(::getpid())}}}};
  connection_->call(VLProtocolMethod::kInitialize, params, options_.handshakeTimeout,
                    [done, answer](const Answer& received) {
                      *answer = received;
                      done->signal();
                    });
  done->wait(options_.handshakeTimeout + kWaitMargin);
  auto fail = [&](const std::string& why) {
    throw VLProviderProtocolException(VLProviderProtocolErrorHandshakeFailed,
                                      "the provider " + name() + " failed the handshake: " + why);
  };
  if (!answer->error && answer->request.empty()) fail("no answer came");
  VLErrorRef error = answer->decode([this](const VLRemoteJSONReader& result) { readHandshake(result); });
  if (error) fail(error->localizedDescription());
}

void VLRemoteSession::readHandshake(const VLRemoteJSONReader& result) {
  auto version = result.field("protocolVersion");
  if (version.integer() != kProtocolVersion) {
    version.fail("the provider speaks protocol version " + std::to_string(version.integer()) +
                 "; this host speaks version " + std::to_string(kProtocolVersion));
  }
  auto record = result.field("provider");
  std::string identifier = record.field("identifier").string();
  std::string providerIdentifier = record.field("providerIdentifier").string();
  auto providerIDField = record.optionalField("providerID");
  std::string providerID = providerIDField ? providerIDField->string() : providerIdentifier;
  std::optional<VLProvider::Domain> domain;
  if (auto domainField = record.optionalField("domain")) {
    auto domainIdentifier = domainField->optionalField("identifier");
    auto displayName = domainField->optionalField("displayName");
    domain =
        VLProvider::Domain{domainIdentifier ? std::optional<std::string>(domainIdentifier->string()) : std::nullopt,
                           displayName ? displayName->string() : ""};
  }
  if (auto revision = result.optionalField("platformRevision")) {
    std::string value = revision->string();
    if (value != "current" && value != "older")
      revision->fail("expected \"current\" or \"older\", got \"" + value + "\"");
    olderRevision_ = value == "older";
  }
  if (auto properties = result.optionalField("deviceProperties")) {
    for (const auto& [key, value] : properties->members()) deviceProperties_[key] = value.boolean();
  }
  provider_ = VLProvider::make(identifier, providerIdentifier, domain, providerID);
  codec_ = std::make_unique<VLRemoteCodec>(providerIdentifier, providerID);
}

bool VLRemoteSession::deviceBooleanProperty(const std::string& name) const {
  auto found = deviceProperties_.find(name);
  return found != deviceProperties_.end() && found->second;
}

bool VLRemoteSession::isOwnProviderPart(const std::string& part) const {
  return part == provider_->providerIdentifier() || part == provider_->identifier() || part == provider_->providerID();
}

void VLRemoteSession::request(const std::string& method, json params,
                              std::function<void(const Answer& answer)> handler) {
  connection_->call(method, std::move(params), options_.requestTimeout, [handler = std::move(handler)](Answer answer) {
    VLBackgroundQueue::shared().async([handler, answer = std::move(answer)] { handler(answer); });
  });
}

VLRemoteSession::Answer VLRemoteSession::requestAndWait(const std::string& method, json params) {
  auto done = VLSemaphore::make(0);
  auto answer = std::make_shared<Answer>();
  connection_->call(method, std::move(params), options_.requestTimeout, [done, answer](const Answer& received) {
    *answer = received;
    done->signal();
  });
  if (!done->wait(options_.requestTimeout + kWaitMargin)) {
    answer->error = vl_providerProtocolError(VLProviderProtocolErrorTimedOut,
                                             "The provider " + name() + " did not answer " + method + " in time.");
  }
  return *answer;
}

std::pair<std::shared_ptr<VLRemoteFeed>, VLRemoteFeed::Attachment> VLRemoteSession::subscribe(
    const std::shared_ptr<VLRemoteCollection>& collection, const json& scope) {
  std::string key = scope.dump();
  std::shared_ptr<VLRemoteFeed> feed;
  std::optional<VLRemoteFeed::Attachment> attachment;
  {
    std::lock_guard lock(mutex_);
    if (auto found = feedsByScope_.find(key); found != feedsByScope_.end()) {
      Feed& entry = feeds_.at(found->second);
      attachment = entry.feed->attach(collection);
      if (attachment) {
        entry.idleSince = 0;
        return {entry.feed, std::move(*attachment)};
      }
    }
    uint64_t number = nextSubscription_++;
    feed = std::make_shared<VLRemoteFeed>(weak_from_this(), number);
    attachment = feed->attach(collection);
    feeds_[number] = Feed{feed, key, 0};
    feedsByScope_[key] = number;
  }
  requestMembers(feed, scope);
  return {feed, std::move(*attachment)};
}

std::shared_ptr<VLRemoteFeed> VLRemoteSession::watch(const json& scope) {
  std::shared_ptr<VLRemoteFeed> feed;
  {
    std::lock_guard lock(mutex_);
    std::string key = scope.dump();
    if (feedsByScope_.count(key)) return nullptr;
    uint64_t number = nextSubscription_++;
    feed = std::make_shared<VLRemoteFeed>(weak_from_this(), number);
    feeds_[number] = Feed{feed, key, ++idleClock_};
    feedsByScope_[key] = number;
  }
  requestMembers(feed, scope);
  return feed;
}

void VLRemoteSession::requestMembers(const std::shared_ptr<VLRemoteFeed>& feed, const json& scope) {
  std::weak_ptr<VLRemoteFeed> weak = feed;
  connection_->call(VLProtocolMethod::kCollectionsSubscribe, {{"subscription", feed->number()}, {"scope", scope}},
                    options_.requestTimeout, [weak](const Answer& answer) {
                      if (auto target = weak.lock()) target->receiveAnswer(answer);
                    });
}

void VLRemoteSession::unsubscribe(const std::shared_ptr<VLRemoteFeed>& feed, uint64_t token) {
  std::vector<uint64_t> closing;
  {
    // Under the lock, so that a collection attaching at the same time keeps the feed in use.
    std::lock_guard lock(mutex_);
    if (feed->detach(token) > 0) return;
    auto found = feeds_.find(feed->number());
    if (found == feeds_.end() || found->second.feed != feed) return;
    found->second.idleSince = ++idleClock_;
    closing = trimIdleFeedsLocked();
  }
  for (uint64_t number : closing) connection_->notify(VLProtocolMethod::kCollectionsUnsubscribe, {{"subscription", number}});
}

std::vector<uint64_t> VLRemoteSession::trimIdleFeedsLocked() {
  std::vector<uint64_t> closing;
  while (true) {
    size_t idle = 0;
    auto cheapest = feeds_.end();
    size_t cheapestCount = 0;
    for (auto entry = feeds_.begin(); entry != feeds_.end(); ++entry) {
      if (entry->second.idleSince == 0) continue;
      ++idle;
      // A feed still enumerating is about to be used (the working set watched from the start).
      if (!entry->second.feed->isLoaded()) continue;
      size_t count = entry->second.feed->memberCount();
      if (cheapest == feeds_.end() || count < cheapestCount ||
          (count == cheapestCount && entry->second.idleSince < cheapest->second.idleSince)) {
        cheapest = entry;
        cheapestCount = count;
      }
    }
    if (idle <= kIdleFeeds || cheapest == feeds_.end()) return closing;
    closing.push_back(cheapest->first);
    feedsByScope_.erase(cheapest->second.scope);
    feeds_.erase(cheapest);
  }
}

void VLRemoteSession::forgetFeed(uint64_t number) {
  std::lock_guard lock(mutex_);
  auto found = feeds_.find(number);
  if (found == feeds_.end()) return;
  feedsByScope_.erase(found->second.scope);
  feeds_.erase(found);
}

void VLRemoteSession::handleNotification(const std::string& method, const VLRemoteJSONReader& reader) {
  const VLProtocolMethod* known = VLProtocolMethod::find(method);
  if (!known || known->sender != VLProtocolMethod::Sender::Provider) {
    VLLog::error("The provider %@ sent the unknown notification %@; it is ignored.", name(), method);
    return;
  }
  int64_t number = 0;
  try {
    number = reader.field("subscription").integer();
  } catch (const VLRemoteJSONError& invalid) {
    VLLog::error("The provider %@ sent a %@ that names no subscription (%@); it is ignored.", name(), method,
                 invalid.what());
    return;
  }
  std::shared_ptr<VLRemoteFeed> feed;
  {
    std::lock_guard lock(mutex_);
    auto found = feeds_.find(static_cast<uint64_t>(number));
    if (found != feeds_.end()) feed = found->second.feed;
  }
  if (!feed) {
    // Changes that were on their way when the host unsubscribed are expected.
    VLLog::debug("The provider %@ sent %@ for subscription %@, which is not open; ignored.", name(), method, number);
    return;
  }
  std::string what = method + " for subscription " + std::to_string(number);
  if (method == VLProtocolMethod::kCollectionsChanged) {
    feed->receiveChanges(reader, what);
    return;
  }
  if (method == VLProtocolMethod::kCollectionsItems) {
    feed->receivePage(reader, what);
    return;
  }
  VLErrorRef error;
  try {
    error = codec_->decodeError(reader.field("error"));
  } catch (const VLRemoteJSONError& invalid) {
    error = vl_providerProtocolError(VLProviderProtocolErrorInvalidAnswer,
                                     "The provider's " + what + " is not valid: " + invalid.what());
  }
  feed->receiveFailure(error);
}

void VLRemoteSession::handleEnd(const VLErrorRef& reason) {
  facts_->publish(VLProviderFact::Kind::ProviderGone, reason->localizedDescription());
  std::vector<std::shared_ptr<VLRemoteFeed>> open;
  {
    std::lock_guard lock(mutex_);
    for (auto& [number, entry] : feeds_) open.push_back(entry.feed);
  }
  for (auto& feed : open) feed->receiveFailure(reason);
}

void VLRemoteSession::close() { connection_->close(); }
