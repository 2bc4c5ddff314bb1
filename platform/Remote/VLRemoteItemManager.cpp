#include "Remote/VLRemoteItemManager.h"

#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLProtocolMethod.h"
#include "Remote/VLProviderProtocolError.h"
#include "Remote/VLRemoteCollection.h"
#include "Remote/VLRemoteThumbnailOperation.h"
#include "Vaultline/VLConstants.h"

using nlohmann::json;

std::shared_ptr<VLRemoteItemManager> VLRemoteItemManager::make(std::shared_ptr<VLRemoteSession> session) {
  return std::shared_ptr<VLRemoteItemManager>(new VLRemoteItemManager(std::move(session)));
}

void VLRemoteItemManager::fetchItem(const std::string& method, json params, ItemCompletion completion) {
  auto session = session_;
  session_->request(method, std::move(params), [session, completion = std::move(completion)](const auto& answer) {
    VLItemRef item;
    VLErrorRef reported;
    VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
      reported = session->codec().decodeOptionalError(result);
      if (!reported) item = session->codec().decodeItem(result.field("item"));
    });
    completion(item, error ? error : reported);
  });
}

void VLRemoteItemManager::fetchRootItemForProvider(const std::shared_ptr<VLProvider>& provider,
                                                   ItemCompletion completion) {
  if (!provider || !session_->isOwnProviderPart(provider->providerIdentifier())) {
    auto error = vl_noSuchItemError(VLFormat("root of provider %@", provider));
    VLBackgroundQueue::shared().async([completion = std::move(completion), error] { completion(nullptr, error); });
    return;
  }
  fetchItem(VLProtocolMethod::kItemsRoot, json::object(), std::move(completion));
}

void VLRemoteItemManager::fetchURL(json params, URLCompletion completion) {
  auto session = session_;
  session_->request(VLProtocolMethod::kItemsURL, std::move(params),
                    [session, completion = std::move(completion)](const auto& answer) {
                      std::optional<VLURL> url;
                      VLErrorRef reported;
                      VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
                        reported = session->codec().decodeOptionalError(result);
                        if (reported) return;
                        auto path = result.field("path");
                        std::string text = path.string();
                        if (text.empty() || text.front() != '/')
                          path.fail("expected an absolute path, got \"" + text + "\"");
                        url = VLURL::fileURLWithPath(text, result.field("isDirectory").boolean());
                      });
                      completion(error || reported ? std::nullopt : url, error ? error : reported);
                    });
}

void VLRemoteItemManager::fetchURLForItem(const VLItemRef& item, URLCompletion completion) {
  if (!item) {
    VLBackgroundQueue::shared().async(
        [completion = std::move(completion)] { completion(std::nullopt, vl_noSuchItemError("(null)")); });
    return;
  }
  fetchURL({{"item", session_->codec().encodeItem(*item)}}, std::move(completion));
}

void VLRemoteItemManager::fetchURLForItem(const VLItemRef& item, bool creatingPlaceholderIfMissing,
                                          URLCompletion completion) {
  if (!item) {
    fetchURLForItem(item, std::move(completion));
    return;
  }
  fetchURL(
      {{"item", session_->codec().encodeItem(*item)}, {"creatingPlaceholderIfMissing", creatingPlaceholderIfMissing}},
      std::move(completion));
}

void VLRemoteItemManager::fetchItemForItemID(const std::shared_ptr<const VLItemID>& itemID, ItemCompletion completion) {
  if (!itemID || !session_->isOwnProviderPart(itemID->providerPart())) {
    auto error = vl_noSuchItemError(itemID ? itemID->description() : "(null)");
    VLBackgroundQueue::shared().async([completion = std::move(completion), error] { completion(nullptr, error); });
    return;
  }
  fetchItem(VLProtocolMethod::kItemsLookup, {{"itemIdentifier", itemID->itemIdentifier()}}, std::move(completion));
}

void VLRemoteItemManager::fetchItemForURL(const VLURL& url, ItemCompletion completion) {
  fetchItem(VLProtocolMethod::kItemsByPath, {{"path", url.path()}}, std::move(completion));
}

void VLRemoteItemManager::scheduleAction(const std::shared_ptr<VLActionOperation>& action) {
  if (!action) throw VLException("scheduleAction was given no action");
  actions_.perform(action);
}

std::shared_ptr<VLItemCollection> VLRemoteItemManager::containerCollection(const std::string& identifier,
                                                                           bool providerKnown) {
  if (!providerKnown) {
    return VLRemoteCollection::make(session_, nullptr, vl_noSuchItemError("of another provider"));
  }
  if (identifier == KsVaultlineWorkingSetContainerItemIdentifier) {
    return VLRemoteCollection::make(session_, VLRemoteSession::workingSetScope());
  }
  return VLRemoteCollection::make(session_, {{"kind", "container"}, {"container", identifier}});
}

std::shared_ptr<VLItemCollection> VLRemoteItemManager::collectionForFolderItem(const VLItemRef& folder) {
  if (!folder) return VLRemoteCollection::make(session_, nullptr, vl_noSuchItemError("(null)"));
  return containerCollection(folder->itemIdentifier(), session_->isOwnProviderPart(folder->providerIdentifier()));
}

std::shared_ptr<VLItemCollection> VLRemoteItemManager::newCollectionWithItemID(
    const std::shared_ptr<const VLItemID>& itemID) {
  if (session_->isOlderRevision()) {
    throw VLException("VLItemManager does not respond to newCollectionWithItemID: on this platform revision");
  }
  if (!itemID) return VLRemoteCollection::make(session_, nullptr, vl_noSuchItemError("(null)"));
  return containerCollection(itemID->itemIdentifier(), session_->isOwnProviderPart(itemID->providerPart()));
}

std::shared_ptr<VLItemCollection> VLRemoteItemManager::collectionWithIdentifier(const std::string& identifier,
                                                                                const std::optional<std::string>&,
                                                                                const std::string& providerIdentifier,
                                                                                const std::vector<std::string>&) {
  return containerCollection(identifier, session_->isOwnProviderPart(providerIdentifier));
}

std::shared_ptr<VLItemCollection> VLRemoteItemManager::newCollectionForProvider(const std::string& providerID) {
  if (!session_->isOwnProviderPart(providerID)) {
    return VLRemoteCollection::make(session_, nullptr, vl_noSuchItemError("of another provider"));
  }
  return VLRemoteCollection::make(session_, {{"kind", "provider"}});
}

std::shared_ptr<VLThumbnailFetchOperation> VLRemoteItemManager::thumbnailsFetchOperationForItems(
    const std::vector<VLItemRef>& items, VLSize size, double scale) {
  return VLRemoteThumbnailOperation::make(items, size, scale, session_);
}
