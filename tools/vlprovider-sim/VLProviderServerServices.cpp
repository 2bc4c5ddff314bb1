// Thumbnails, the local files and placeholders, and the validation service.
#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLProtocolMethod.h"
#include "VLProviderServer.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "Vaultline/VLConstants.h"

using nlohmann::json;

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
        if (method == VLProtocolMethod::kValidationAllowValidation) {
          proxy->validation_allowValidation([self, id](bool allowed, const VLValue::Dictionary& options) {
            self->reply(id, {{"allowed", allowed}, {"options", VLRemoteCodec::encodeValue(VLValue(options))}});
          });
        } else if (method == VLProtocolMethod::kValidationEvictDocument) {
          proxy->validation_evictDocumentWithCompletionHandler(errorReply);
        } else {
          proxy->validation_shareDocumentWithCompletionHandler(errorReply);
        }
      });
}
