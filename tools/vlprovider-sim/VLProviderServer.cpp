#include "VLProviderServer.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLRemoteSession.h"
#include "VLProviderServerSubscription.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLCopyOperation.h"
#include "Vaultline/VLCreateFolderOperation.h"
#include "Vaultline/VLDeleteOperation.h"
#include "Vaultline/VLDownloadOperation.h"
#include "Vaultline/VLEvictOperation.h"
#include "Vaultline/VLFetchItemOperation.h"
#include "Vaultline/VLModifyFavoritesOperation.h"
#include "Vaultline/VLMoveOperation.h"
#include "Vaultline/VLRenameOperation.h"
#include "Vaultline/VLSetLastOpenDateOperation.h"
#include "Vaultline/VLSetTagsOperation.h"
#include "Vaultline/VLTrashOperation.h"
#include "Vaultline/VLUntrashOperation.h"

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
      {"initialize", &VLProviderServer::initialize},
      {"items.root", &VLProviderServer::rootItem},
      {"items.lookup", &VLProviderServer::lookup},
      {"items.url", &VLProviderServer::url},
      {"items.byPath", &VLProviderServer::byPath},
      {"actions.copy", &VLProviderServer::copy},
      {"actions.createFolder", &VLProviderServer::createFolder},
      {"actions.rename", &VLProviderServer::rename},
      {"actions.move", &VLProviderServer::move},
      {"actions.trash", &VLProviderServer::trash},
      {"actions.untrash", &VLProviderServer::untrash},
      {"actions.delete", &VLProviderServer::remove},
      {"actions.setTags", &VLProviderServer::setTags},
      {"actions.setFavoriteRanks", &VLProviderServer::setFavoriteRanks},
      {"actions.setLastUsedDate", &VLProviderServer::setLastUsedDate},
      {"actions.download", &VLProviderServer::download},
      {"actions.evict", &VLProviderServer::evict},
      {"actions.fetchItem", &VLProviderServer::fetchItem},
      {"thumbnails.fetch", &VLProviderServer::thumbnail},
      {"collections.subscribe", &VLProviderServer::subscribe},
      {"collections.unsubscribe", &VLProviderServer::unsubscribe},
      {"files.services", &VLProviderServer::services},
      {"files.state", &VLProviderServer::fileState},
      {"files.materialize", &VLProviderServer::materialize},
      {"validation.allowValidation", &VLProviderServer::validationCall},
      {"validation.evictDocument", &VLProviderServer::validationCall},
      {"validation.shareDocument", &VLProviderServer::validationCall},
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
    if (!initialized_ && message.method != "initialize") {
      if (isRequest) replyError(message.id, VLRemoteInvalidRequest, "the session begins with \"initialize\"");
      return;
    }
  }
  pendingMethod_ = message.method;
  try {
    (this->*(handler->second))(message.id, VLRemoteJSONReader(message.params, "params"));
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

void VLProviderServer::perform(const json& id, const std::shared_ptr<VLActionOperation>& action) {
  auto self = shared_from_this();
  action->setActionCompletionBlock([self, id](VLErrorRef error) {
    json result = json::object();
    if (error) result["error"] = self->codec_.encodeError(*error);
    self->reply(id, result);
  });
  manager_->scheduleAction(action);
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

void VLProviderServer::rootItem(const json& id, const VLRemoteJSONReader&) {
  manager_->fetchRootItemForProvider(provider_, itemReply(id));
}

void VLProviderServer::lookup(const json& id, const VLRemoteJSONReader& params) {
  std::string identifier = params.field("itemIdentifier").string();
  auto itemID = platform_->offers(VLPlatformCapability::ItemIDWithProviderIdentifier)
                    ? VLItemID::makeWithProviderIdentifier(provider_->providerIdentifier(), std::nullopt, identifier)
                    : VLItemID::makeWithProviderID(provider_->providerID(), std::nullopt, identifier);
  manager_->fetchItemForItemID(itemID, itemReply(id));
}

void VLProviderServer::url(const json& id, const VLRemoteJSONReader& params) {
  auto self = shared_from_this();
  auto answer = [self, id](std::optional<VLURL> url, VLErrorRef error) {
    json result = json::object();
    if (url) result = {{"path", url->path()}, {"isDirectory", url->hasDirectoryPath()}};
    if (error) result["error"] = self->codec_.encodeError(*error);
    self->reply(id, result);
  };
  VLItemRef target = item(params, "item");
  if (auto flag = params.optionalField("creatingPlaceholderIfMissing")) {
    manager_->fetchURLForItem(target, flag->boolean(), answer);
  } else {
    manager_->fetchURLForItem(target, answer);
  }
}

void VLProviderServer::byPath(const json& id, const VLRemoteJSONReader& params) {
  manager_->fetchItemForURL(VLURL::fileURLWithPath(params.field("path").string(), false), itemReply(id));
}

void VLProviderServer::copy(const json& id, const VLRemoteJSONReader& params) {
  std::vector<VLURL> urls;
  for (const auto& source : params.field("sources").array()) {
    urls.push_back(VLURL::fileURLWithPath(source.field("path").string(), source.field("isDirectory").boolean()));
  }
  VLItemRef destination = item(params, "destination");
  auto operation = platform_->offers(VLPlatformCapability::CopyWithURLs)
                       ? VLCopyOperation::makeWithURLs(urls, destination)
                       : VLCopyOperation::makeWithSourceURLs(urls, destination);
  auto self = shared_from_this();
  std::weak_ptr<VLCopyOperation> weak = operation;
  operation->setActionCompletionBlock([self, id, weak](VLErrorRef error) {
    auto operation = weak.lock();
    json created = json::object(), failed = json::object();
    if (operation) {
      for (const auto& [url, result] : operation->transferResults()) {
        if (result) created[url.path()] = self->codec_.encodeItem(*result);
      }
      for (const auto& [url, problem] : operation->errorsByItem()) {
        if (problem) failed[url.path()] = self->codec_.encodeError(*problem);
      }
    }
    json result = {{"transferResults", created}, {"errorsByItem", failed}};
    if (error) result["error"] = self->codec_.encodeError(*error);
    self->reply(id, result);
  });
  manager_->scheduleAction(operation);
}

void VLProviderServer::createFolder(const json& id, const VLRemoteJSONReader& params) {
  auto operation = VLCreateFolderOperation::make(item(params, "parent"), params.field("name").string());
  operation->setCreateFolderCompletionBlock(itemReply(id));
  manager_->scheduleAction(operation);
}

void VLProviderServer::rename(const json& id, const VLRemoteJSONReader& params) {
  perform(id, VLRenameOperation::make(item(params, "item"), params.field("newName").string()));
}

void VLProviderServer::move(const json& id, const VLRemoteJSONReader& params) {
  auto operation = VLMoveOperation::make(items(params, "items"), item(params, "destination"));
  auto self = shared_from_this();
  std::weak_ptr<VLMoveOperation> weak = operation;
  operation->setActionCompletionBlock([self, id, weak](VLErrorRef error) {
    json moved = json::object();
    if (auto operation = weak.lock()) {
      for (const auto& [original, after] : operation->transferResults()) {
        if (original && after) moved[original->itemIdentifier()] = self->codec_.encodeItem(*after);
      }
    }
    json result = {{"transferResults", moved}};
    if (error) result["error"] = self->codec_.encodeError(*error);
    self->reply(id, result);
  });
  manager_->scheduleAction(operation);
}

void VLProviderServer::trash(const json& id, const VLRemoteJSONReader& params) {
  perform(id, VLTrashOperation::make(items(params, "items")));
}

void VLProviderServer::untrash(const json& id, const VLRemoteJSONReader& params) {
  perform(id, VLUntrashOperation::make(items(params, "items"), item(params, "restoreDirectory")));
}

void VLProviderServer::remove(const json& id, const VLRemoteJSONReader& params) {
  perform(id, VLDeleteOperation::make(items(params, "items")));
}

void VLProviderServer::setTags(const json& id, const VLRemoteJSONReader& params) {
  std::vector<VLSetTagsOperation::TagList> lists;
  for (const auto& list : params.field("tagsLists").array()) {
    VLSetTagsOperation::TagList tags;
    for (const auto& tag : list.array()) tags.push_back(VLRemoteCodec::decodeTag(tag));
    lists.push_back(std::move(tags));
  }
  perform(id, VLSetTagsOperation::make(items(params, "items"), std::move(lists)));
}

void VLProviderServer::setFavoriteRanks(const json& id, const VLRemoteJSONReader& params) {
  std::vector<int64_t> ranks;
  for (const auto& rank : params.field("ranks").array()) ranks.push_back(rank.integer());
  perform(id, VLModifyFavoritesOperation::make(items(params, "items"), std::move(ranks)));
}

void VLProviderServer::setLastUsedDate(const json& id, const VLRemoteJSONReader& params) {
  perform(id, VLSetLastOpenDateOperation::make(items(params, "items"), VLDate(params.field("date").number())));
}

void VLProviderServer::download(const json& id, const VLRemoteJSONReader& params) {
  auto operation = VLDownloadOperation::make(items(params, "items"));
  auto self = shared_from_this();
  operation->setDownloadCompletionBlock([self, id](const std::vector<VLItemRef>& downloaded, VLErrorRef error) {
    json result = {{"items", self->codec_.encodeItems(downloaded)}};
    if (error) result["error"] = self->codec_.encodeError(*error);
    self->reply(id, result);
  });
  manager_->scheduleAction(operation);
}

void VLProviderServer::evict(const json& id, const VLRemoteJSONReader& params) {
  perform(id, VLEvictOperation::make(items(params, "items")));
}

void VLProviderServer::fetchItem(const json& id, const VLRemoteJSONReader& params) {
  if (!VLFetchItemOperation::classExists()) {
    lookup(id, params);
    return;
  }
  std::string identifier = params.field("itemIdentifier").string();
  auto operation = VLFetchItemOperation::make(
      VLItemID::makeWithProviderIdentifier(provider_->providerIdentifier(), std::nullopt, identifier));
  operation->setFetchCompletionBlock(itemReply(id));
  manager_->scheduleAction(operation);
}

void VLProviderServer::thumbnail(const json& id, const VLRemoteJSONReader& params) {
  VLSize size{params.field("width").number(), params.field("height").number()};
  auto operation =
      manager_->thumbnailsFetchOperationForItems({item(params, "item")}, size, params.field("scale").number());
  auto result = std::make_shared<json>(json::object());
  auto self = shared_from_this();
  operation->setPerThumbnailCompletionBlock([self, result](const VLItemRef&, const std::optional<VLData>& data,
                                                           const std::string& format, const VLErrorRef& error) {
    *result = json::object();
    if (data) *result = {{"data", VLRemoteCodec::encodeData(*data)}, {"format", format}};
    if (error) (*result)["error"] = self->codec_.encodeError(*error);
  });
  operation->whenFinished([self, id, result] { self->reply(id, *result); });
  VLBackgroundQueue::shared().async([operation] { operation->start(); });
}

void VLProviderServer::subscribe(const json& id, const VLRemoteJSONReader& params) {
  int64_t number = params.field("subscription").integer();
  auto scope = params.field("scope");
  std::string kind = scope.field("kind").string();
  std::shared_ptr<VLItemCollection> collection;
  if (kind == "container") {
    collection = manager_->collectionWithIdentifier(scope.field("container").string(), std::nullopt,
                                                    provider_->providerIdentifier(), {});
  } else if (kind == "workingSet") {
    collection = manager_->collectionWithIdentifier(KsVaultlineWorkingSetContainerItemIdentifier, std::nullopt,
                                                    provider_->providerIdentifier(), {});
  } else if (kind == "provider") {
    collection = manager_->newCollectionForProvider(provider_->providerID());
  } else {
    scope.field("kind").fail("expected \"container\", \"workingSet\" or \"provider\", got \"" + kind + "\"");
  }
  {
    std::lock_guard lock(mutex_);
    if (subscriptions_.count(number)) {
      params.field("subscription").fail("subscription " + std::to_string(number) + " is already open");
    }
  }
  auto subscription = VLProviderServerSubscription::start(weak_from_this(), number, id, collection);
  std::lock_guard lock(mutex_);
  subscriptions_[number] = subscription;
}

void VLProviderServer::unsubscribe(const json&, const VLRemoteJSONReader& params) {
  std::shared_ptr<VLProviderServerSubscription> subscription;
  {
    std::lock_guard lock(mutex_);
    auto found = subscriptions_.find(params.field("subscription").integer());
    if (found == subscriptions_.end()) return;
    subscription = found->second;
    subscriptions_.erase(found);
  }
  subscription->stop();
}

void VLProviderServer::services(const json& id, const VLRemoteJSONReader& params) {
  auto self = shared_from_this();
  platform_->getVaultlineServicesForItemAtURL(VLURL::fileURLWithPath(params.field("path").string(), false),
                                              [self, id](const VLVaultlineServices& services, VLErrorRef error) {
                                                json list = json::array();
                                                for (const auto& [name, service] : services) {
                                                  std::lock_guard lock(self->mutex_);
                                                  std::string token = "service-" + std::to_string(self->nextService_++);
                                                  self->services_[token] = service;
                                                  list.push_back({{"name", name}, {"service", token}});
                                                }
                                                json result = {{"services", list}};
                                                if (error) result = {{"error", self->codec_.encodeError(*error)}};
                                                self->reply(id, result);
                                              });
}

void VLProviderServer::fileState(const json& id, const VLRemoteJSONReader& params) {
  auto url = VLURL::fileURLWithPath(params.field("path").string(), false);
  auto self = shared_from_this();
  VLBackgroundQueue::shared().async([self, id, url] {
    const char* state = self->platform_->checkResourceIsReachable(url, nullptr)       ? "materialized"
                        : self->platform_->checkPromisedItemIsReachable(url, nullptr) ? "placeholder"
                                                                                      : "absent";
    self->reply(id, {{"state", state}});
  });
}

void VLProviderServer::materialize(const json& id, const VLRemoteJSONReader& params) {
  auto url = VLURL::fileURLWithPath(params.field("path").string(), false);
  auto self = shared_from_this();
  VLBackgroundQueue::shared().async([self, id, url] {
    VLErrorRef error;
    json result = json::object();
    if (!self->platform_->coordinateReading(url, &error, [](const VLURL&) {}) && error) {
      result["error"] = self->codec_.encodeError(*error);
    }
    self->reply(id, result);
  });
}

void VLProviderServer::validationCall(const json& id, const VLRemoteJSONReader& params) {
  auto token = params.field("service");
  std::shared_ptr<VLVaultlineService> service;
  {
    std::lock_guard lock(mutex_);
    auto found = services_.find(token.string());
    if (found != services_.end()) service = found->second;
  }
  if (!service) token.fail("no service was listed under \"" + token.string() + "\"");
  std::string method = pendingMethod_;
  auto self = shared_from_this();
  service->getVaultlineConnectionWithCompletionHandler(
      [self, id, method](std::shared_ptr<VLServiceConnection> connection, VLErrorRef error) {
        auto fail = [self, id](const VLErrorRef& error) {
          self->reply(id, {{"error", self->codec_.encodeError(*error)}});
        };
        if (!connection) {
          fail(error ? error
                     : VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable,
                                                    "The validation service could not be reached."));
          return;
        }
        connection->setRemoteObjectInterface(KsVaultlineValidationServiceV1ProtocolName);
        connection->resume();
        auto proxy = connection->remoteObjectProxyWithErrorHandler(fail);
        auto errorReply = [self, id](VLErrorRef error) {
          json result = json::object();
          if (error) result["error"] = self->codec_.encodeError(*error);
          self->reply(id, result);
        };
        if (method == "validation.allowValidation") {
          proxy->validation_allowValidation([self, id](bool allowed, const VLValue::Dictionary& options) {
            self->reply(id, {{"allowed", allowed}, {"options", VLRemoteCodec::encodeValue(VLValue(options))}});
          });
        } else if (method == "validation.evictDocument") {
          proxy->validation_evictDocumentWithCompletionHandler(errorReply);
        } else {
          proxy->validation_shareDocumentWithCompletionHandler(errorReply);
        }
      });
}
