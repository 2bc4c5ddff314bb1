// The look-ups: items.root, items.lookup, items.url and items.byPath.
#include "VLProviderServer.h"

using nlohmann::json;

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
