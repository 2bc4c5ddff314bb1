// The actions: one handler per actions.* method, each scheduling the matching operation.
#include "VLProviderServer.h"
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

void VLProviderServer::perform(const json& id, const std::shared_ptr<VLActionOperation>& action) {
  auto self = shared_from_this();
  action->setActionCompletionBlock([self, id](VLErrorRef error) {
    json result = json::object();
    if (error) result["error"] = self->codec_.encodeError(*error);
    self->reply(id, result);
  });
  manager_->scheduleAction(action);
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
