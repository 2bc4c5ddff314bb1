#include "VLProviderServer.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "Remote/VLProtocolMethod.h"
#include "Remote/VLRemoteSession.h"
#include "VLProviderServerSubscription.h"

// The session itself: framing, dispatch, answers and the handshake. The methods are carried out
// in VLProviderServerItems.cpp (look-ups), VLProviderServerActions.cpp (actions),
// VLProviderServerCollections.cpp (subscriptions) and VLProviderServerServices.cpp (thumbnails,
// local files and the validation service), in the order of the protocol document's sections.

using nlohmann::json;

std::shared_ptr<VLProviderServer> VLProviderServer::make(int input, int output, std::shared_ptr<VLPlatform> platform,
                                                         std::shared_ptr<VLProvider> provider, bool trace) {
  return std::shared_ptr<VLProviderServer>(
      new VLProviderServer(input, output, std::move(platform), std::move(provider), trace));
}

VLProviderServer::VLProviderServer(int input, int output, std::shared_ptr<VLPlatform> platform,
                                   std::shared_ptr<VLProvider> provider, bool trace)
    : input_(input),
      output_(output),
      platform_(std::move(platform)),
      manager_(platform_->defaultItemManager()),
      provider_(std::move(provider)),
      codec_(provider_->providerIdentifier(), provider_->providerID()),
      trace_(trace) {}
const std::map<std::string, VLProviderServer::Handler>& VLProviderServer::handlers() {
  static const auto& table = *new const std::map<std::string, Handler>{
      // never destroyed: used by threads at exit
      {VLProtocolMethod::kInitialize, &VLProviderServer::initialize},
      {VLProtocolMethod::kItemsRoot, &VLProviderServer::rootItem},
      {VLProtocolMethod::kItemsLookup, &VLProviderServer::lookup},
      {VLProtocolMethod::kItemsURL, &VLProviderServer::url},
      {VLProtocolMethod::kItemsByPath, &VLProviderServer::byPath},
      {VLProtocolMethod::kActionsCopy, &VLProviderServer::copy},
      {VLProtocolMethod::kActionsCreateFolder, &VLProviderServer::createFolder},
      {VLProtocolMethod::kActionsRename, &VLProviderServer::rename},
      {VLProtocolMethod::kActionsMove, &VLProviderServer::move},
      {VLProtocolMethod::kActionsTrash, &VLProviderServer::trash},
      {VLProtocolMethod::kActionsUntrash, &VLProviderServer::untrash},
      {VLProtocolMethod::kActionsDelete, &VLProviderServer::remove},
      {VLProtocolMethod::kActionsSetTags, &VLProviderServer::setTags},
      {VLProtocolMethod::kActionsSetFavoriteRanks, &VLProviderServer::setFavoriteRanks},
      {VLProtocolMethod::kActionsSetLastUsedDate, &VLProviderServer::setLastUsedDate},
      {VLProtocolMethod::kActionsDownload, &VLProviderServer::download},
      {VLProtocolMethod::kActionsEvict, &VLProviderServer::evict},
      {VLProtocolMethod::kActionsFetchItem, &VLProviderServer::fetchItem},
      {VLProtocolMethod::kThumbnailsFetch, &VLProviderServer::thumbnail},
      {VLProtocolMethod::kCollectionsSubscribe, &VLProviderServer::subscribe},
      {VLProtocolMethod::kCollectionsUnsubscribe, &VLProviderServer::unsubscribe},
      {VLProtocolMethod::kFilesServices, &VLProviderServer::services},
      {VLProtocolMethod::kFilesState, &VLProviderServer::fileState},
      {VLProtocolMethod::kFilesMaterialize, &VLProviderServer::materialize},
      {VLProtocolMethod::kValidationAllowValidation, &VLProviderServer::validationCall},
      {VLProtocolMethod::kValidationEvictDocument, &VLProviderServer::validationCall},
      {VLProtocolMethod::kValidationShareDocument, &VLProviderServer::validationCall},
  };
  return table;
}
void VLProviderServer::run() {
  std::string buffer;
  char chunk[65536];
  for (;;) {
    ssize_t count = ::read(input_, chunk, sizeof chunk);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    buffer.append(chunk, static_cast<size_t>(count));
    size_t start = 0;
    for (size_t end; (end = buffer.find('\n', start)) != std::string::npos; start = end + 1) {
      handleLine(std::string_view(buffer).substr(start, end - start));
    }
    buffer.erase(0, start);
  }
  std::map<int64_t, std::shared_ptr<VLProviderServerSubscription>> open;
  {
    std::lock_guard lock(mutex_);
    open.swap(subscriptions_);
  }
  for (auto& [number, subscription] : open) subscription->stop();
}
void VLProviderServer::write(const std::string& line) {
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
void VLProviderServer::reply(const json& id, const json& result) { write(VLRemoteMessage::resultLine(id, result)); }
void VLProviderServer::replyError(const json& id, int64_t code, const std::string& message, const json& data) {
  write(VLRemoteMessage::errorLine(id, code, message, data));
}
void VLProviderServer::notify(const std::string& method, const json& params) {
  write(VLRemoteMessage::notificationLine(method, params));
}
void VLProviderServer::handleLine(std::string_view line) {
  if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
  if (trace_) std::fprintf(stderr, "\u2192 %.*s\n", static_cast<int>(line.size()), line.data());
  VLRemoteMessage message;
  try {
    message = VLRemoteMessage::parse(line);
  } catch (const VLRemoteMalformedMessage& malformed) {
    replyError(malformed.id() ? json(*malformed.id()) : json(nullptr),
               malformed.isJSON() ? VLRemoteInvalidRequest : VLRemoteParseError, malformed.what());
    return;
  }
  bool isRequest = message.kind == VLRemoteMessage::Kind::Request;
  if (!isRequest && message.kind != VLRemoteMessage::Kind::Notification) return;  // answers to nothing we asked
  auto handler = handlers().find(message.method);
  if (handler == handlers().end()) {
    if (isRequest) replyError(message.id, VLRemoteMethodNotFound, "unknown method \"" + message.method + "\"");
    return;
  }
  {
    std::lock_guard lock(mutex_);
    if (!initialized_ && message.method != VLProtocolMethod::kInitialize) {
      if (isRequest) replyError(message.id, VLRemoteInvalidRequest, "the session begins with \"initialize\"");
      return;
    }
  }
  pendingMethod_ = message.method;
  try {
    VLRemoteJSONReader params(message.params, "params");
    if (const auto* method = VLProtocolMethod::find(message.method)) method->checkParameters(params);
    (this->*(handler->second))(message.id, params);
  } catch (const VLRemoteJSONError& invalid) {
    if (isRequest) replyError(message.id, VLRemoteInvalidParams, invalid.what());
  } catch (const VLException& failure) {
    if (isRequest) replyError(message.id, VLRemoteInternalError, failure.what());
  }
}
VLItemRef VLProviderServer::item(const VLRemoteJSONReader& params, const std::string& name) const {
  auto field = params.optionalField(name);
  return field ? codec_.decodeItem(*field) : nullptr;
}
std::vector<VLItemRef> VLProviderServer::items(const VLRemoteJSONReader& params, const std::string& name) const {
  std::vector<VLItemRef> list;
  for (const auto& element : params.field(name).array()) {
    list.push_back(element.json().is_null() ? nullptr : codec_.decodeItem(element));
  }
  return list;
}
std::function<void(VLItemRef, VLErrorRef)> VLProviderServer::itemReply(const json& id) {
  auto self = shared_from_this();
  return [self, id](VLItemRef item, VLErrorRef error) {
    json result = json::object();
    if (item) result["item"] = self->codec_.encodeItem(*item);
    if (error) result["error"] = self->codec_.encodeError(*error);
    self->reply(id, result);
  };
}
void VLProviderServer::initialize(const json& id, const VLRemoteJSONReader& params) {
  int64_t version = params.field("protocolVersion").integer();
  if (version != VLRemoteSession::kProtocolVersion) {
    replyError(id, VLRemoteUnsupportedVersion, "unsupported protocol version " + std::to_string(version),
               {{"supported", {VLRemoteSession::kProtocolVersion}}});
    return;
  }
  json record = {{"identifier", provider_->identifier()},
                 {"providerIdentifier", provider_->providerIdentifier()},
                 {"providerID", provider_->providerID()}};
  if (const auto& domain = provider_->domain()) {
    record["domain"] = {{"identifier", domain->identifier ? json(*domain->identifier) : json(nullptr)},
                        {"displayName", domain->displayName}};
  }
  {
    std::lock_guard lock(mutex_);
    initialized_ = true;
  }
  reply(id, {{"protocolVersion", VLRemoteSession::kProtocolVersion},
             {"provider", record},
             {"platformRevision", platform_->offers(VLPlatformCapability::CopyWithURLs) ? "current" : "older"},
             {"deviceProperties", {{"InternalBuild", platform_->deviceBooleanProperty("InternalBuild")}}}});
}
