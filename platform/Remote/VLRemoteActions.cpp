#include "Remote/VLRemoteActions.h"

#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLProtocolMethod.h"
#include "Remote/VLProviderProtocolError.h"
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

void VLRemoteActions::perform(const std::shared_ptr<VLActionOperation>& action) const {
  if (auto fetch = std::dynamic_pointer_cast<VLFetchItemOperation>(action)) {
    // An item ID of another provider names nothing this provider could find.
    const auto& itemID = fetch->itemID();
    if (!itemID || !session_->isOwnProviderPart(itemID->providerPart())) {
      auto error = vl_noSuchItemError(itemID ? itemID->description() : "(null)");
      VLBackgroundQueue::shared().async([fetch, error] { fetch->completeWithItem(nullptr, error); });
      return;
    }
  }
  Finish finish;
  auto [method, params] = request(action, finish);
  if (method.empty()) {
    auto error = vl_notSupportedError("The provider protocol has no request for " + action->className() + ".");
    VLBackgroundQueue::shared().async([action, error] { action->completeWithError(error); });
    return;
  }
  session_->request(method, std::move(params), std::move(finish));
}

std::pair<std::string, json> VLRemoteActions::request(const std::shared_ptr<VLActionOperation>& action,
                                                      Finish& finish) const {
  auto session = session_;
  const VLRemoteCodec& codec = session_->codec();
  auto item = [&](const VLItemRef& value) { return value ? codec.encodeItem(*value) : json(nullptr); };
  // Actions whose answer is only an error.
  auto plain = [&](const char* method, json params) -> std::pair<std::string, json> {
    finish = [action, session](const VLRemoteSession::Answer& answer) {
      VLErrorRef reported;
      VLErrorRef error = answer.decode(
          [&](const VLRemoteJSONReader& result) { reported = session->codec().decodeOptionalError(result); });
      action->completeWithError(error ? error : reported);
    };
    return {method, std::move(params)};
  };

  if (auto copy = std::dynamic_pointer_cast<VLCopyOperation>(action)) {
    json sources = json::array();
    for (const auto& url : copy->urls())
      sources.push_back({{"path", url.path()}, {"isDirectory", url.hasDirectoryPath()}});
    finish = [copy, session](const VLRemoteSession::Answer& answer) {
      VLErrorRef reported;
      VLCopyOperation::TransferResults results;
      VLCopyOperation::ErrorsByItem errors;
      VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
        reported = session->codec().decodeOptionalError(result);
        auto created = result.optionalField("transferResults");
        auto failed = result.optionalField("errorsByItem");
        // Keyed by the source path; matched back to the URLs the action was given.
        for (const auto& url : copy->urls()) {
          if (auto entry = created ? created->requireObject().optionalField(url.path()) : std::nullopt) {
            results[url] = session->codec().decodeItem(*entry);
          }
          if (auto entry = failed ? failed->requireObject().optionalField(url.path()) : std::nullopt) {
            errors[url] = session->codec().decodeError(*entry);
          }
        }
      });
      if (error) {
        results.clear();
        errors.clear();
      }
      copy->setResults(std::move(results), std::move(errors));
      copy->completeWithError(error ? error : reported);
    };
    return {VLProtocolMethod::kActionsCopy, {{"sources", sources}, {"destination", item(copy->destinationFolder())}}};
  }
  if (auto create = std::dynamic_pointer_cast<VLCreateFolderOperation>(action)) {
    finish = [create, session](const VLRemoteSession::Answer& answer) {
      VLErrorRef reported;
      VLItemRef created;
      VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
        reported = session->codec().decodeOptionalError(result);
        if (auto field = result.optionalField("item")) created = session->codec().decodeItem(*field);
      });
      create->completeWithItem(error ? nullptr : created, error ? error : reported);
    };
    return {VLProtocolMethod::kActionsCreateFolder,
            {{"parent", item(create->parentItem())}, {"name", create->folderName()}}};
  }
  if (auto rename = std::dynamic_pointer_cast<VLRenameOperation>(action)) {
    return plain(VLProtocolMethod::kActionsRename, {{"item", item(rename->item())}, {"newName", rename->newName()}});
  }
  if (auto move = std::dynamic_pointer_cast<VLMoveOperation>(action)) {
    finish = [move, session](const VLRemoteSession::Answer& answer) {
      VLErrorRef reported;
      VLMoveOperation::TransferResults results;
      VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
        reported = session->codec().decodeOptionalError(result);
        auto moved = result.optionalField("transferResults");
        // Keyed by the moved item's identifier; matched back to the items the action was given.
        for (const auto& original : move->items()) {
          if (!original || !moved) continue;
          if (auto entry = moved->requireObject().optionalField(original->itemIdentifier())) {
            results.emplace_back(original, session->codec().decodeItem(*entry));
          }
        }
      });
      if (error) results.clear();
      move->setTransferResults(std::move(results));
      move->completeWithError(error ? error : reported);
    };
    return {VLProtocolMethod::kActionsMove,
            {{"items", codec.encodeItems(move->items())}, {"destination", item(move->destinationFolder())}}};
  }
  if (auto trash = std::dynamic_pointer_cast<VLTrashOperation>(action)) {
    return plain(VLProtocolMethod::kActionsTrash, {{"items", codec.encodeItems(trash->items())}});
  }
  if (auto untrash = std::dynamic_pointer_cast<VLUntrashOperation>(action)) {
    return plain(VLProtocolMethod::kActionsUntrash, {{"items", codec.encodeItems(untrash->items())},
                                                     {"restoreDirectory", item(untrash->restoreDirectory())}});
  }
  if (auto remove = std::dynamic_pointer_cast<VLDeleteOperation>(action)) {
    return plain(VLProtocolMethod::kActionsDelete, {{"items", codec.encodeItems(remove->items())}});
  }
  if (auto tags = std::dynamic_pointer_cast<VLSetTagsOperation>(action)) {
    json lists = json::array();
    for (const auto& list : tags->tagsLists()) {
      json encoded = json::array();
      for (const auto& tag : list) encoded.push_back(tag ? VLRemoteCodec::encodeTag(*tag) : json(nullptr));
      lists.push_back(encoded);
    }
    return plain(VLProtocolMethod::kActionsSetTags,
                 {{"items", codec.encodeItems(tags->items())}, {"tagsLists", lists}});
  }
  if (auto favorites = std::dynamic_pointer_cast<VLModifyFavoritesOperation>(action)) {
    return plain(VLProtocolMethod::kActionsSetFavoriteRanks,
                 {{"items", codec.encodeItems(favorites->itemsToFavorite())}, {"ranks", favorites->favoriteRanks()}});
  }
  if (auto lastOpen = std::dynamic_pointer_cast<VLSetLastOpenDateOperation>(action)) {
    return plain(VLProtocolMethod::kActionsSetLastUsedDate,
                 {{"items", codec.encodeItems(lastOpen->items())}, {"date", lastOpen->date().timeIntervalSince1970()}});
  }
  if (auto download = std::dynamic_pointer_cast<VLDownloadOperation>(action)) {
    finish = [download, session](const VLRemoteSession::Answer& answer) {
      VLErrorRef reported;
      std::vector<VLItemRef> downloaded;
      VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
        reported = session->codec().decodeOptionalError(result);
        if (auto field = result.optionalField("items")) downloaded = session->codec().decodeItems(*field);
      });
      if (error) downloaded.clear();
      download->completeWithItems(std::move(downloaded), error ? error : reported);
    };
    return {VLProtocolMethod::kActionsDownload, {{"items", codec.encodeItems(download->items())}}};
  }
  if (auto evict = std::dynamic_pointer_cast<VLEvictOperation>(action)) {
    return plain(VLProtocolMethod::kActionsEvict, {{"items", codec.encodeItems(evict->items())}});
  }
  if (auto fetch = std::dynamic_pointer_cast<VLFetchItemOperation>(action)) {
    const auto& itemID = fetch->itemID();
    finish = [fetch, session](const VLRemoteSession::Answer& answer) {
      VLErrorRef reported;
      VLItemRef found;
      VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
        reported = session->codec().decodeOptionalError(result);
        if (auto field = result.optionalField("item")) found = session->codec().decodeItem(*field);
      });
      fetch->completeWithItem(error ? nullptr : found, error ? error : reported);
    };
    return {VLProtocolMethod::kActionsFetchItem, {{"itemIdentifier", itemID->itemIdentifier()}}};
  }
  return {"", nullptr};
}
