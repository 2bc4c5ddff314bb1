// VLRemoteItemManager: the item manager of a provider in its own process. Every look-up and
// action is a request of the provider protocol; completions run on background threads,
// never inside the call that asked and never on the connection's threads. Calls the host can
// refuse by itself (an item ID or collection of another provider, a missing argument) fail
// the same way, later. Thread-safe; made by make().
#pragma once

#include <memory>

#include "Remote/VLRemoteActions.h"
#include "Remote/VLRemoteSession.h"
#include "Vaultline/VLItemManager.h"

class VLRemoteItemManager : public VLItemManager {
 public:
  static std::shared_ptr<VLRemoteItemManager> make(std::shared_ptr<VLRemoteSession> session);

  void fetchRootItemForProvider(const std::shared_ptr<VLProvider>& provider, ItemCompletion completion) override;
  void fetchURLForItem(const VLItemRef& item, URLCompletion completion) override;
  void fetchURLForItem(const VLItemRef& item, bool creatingPlaceholderIfMissing, URLCompletion completion) override;
  void fetchItemForItemID(const std::shared_ptr<const VLItemID>& itemID, ItemCompletion completion) override;
  void fetchItemForURL(const VLURL& url, ItemCompletion completion) override;
  void scheduleAction(const std::shared_ptr<VLActionOperation>& action) override;
  std::shared_ptr<VLItemCollection> collectionForFolderItem(const VLItemRef& folder) override;
  std::shared_ptr<VLItemCollection> newCollectionWithItemID(const std::shared_ptr<const VLItemID>& itemID) override;
  std::shared_ptr<VLItemCollection> collectionWithIdentifier(const std::string& identifier,
                                                             const std::optional<std::string>& domainIdentifier,
                                                             const std::string& providerIdentifier,
                                                             const std::vector<std::string>& fileTypes) override;
  std::shared_ptr<VLItemCollection> newCollectionForProvider(const std::string& providerID) override;
  std::shared_ptr<VLThumbnailFetchOperation> thumbnailsFetchOperationForItems(const std::vector<VLItemRef>& items,
                                                                              VLSize size, double scale) override;

 private:
  explicit VLRemoteItemManager(std::shared_ptr<VLRemoteSession> session)
      : session_(std::move(session)), actions_(session_) {}
  // Asks `method`, whose answer is {"item": …} or {"error": …}.
  void fetchItem(const std::string& method, nlohmann::json params, ItemCompletion completion);
  void fetchURL(nlohmann::json params, URLCompletion completion);
  std::shared_ptr<VLItemCollection> containerCollection(const std::string& identifier, bool providerKnown);

  const std::shared_ptr<VLRemoteSession> session_;
  VLRemoteActions actions_;
};
