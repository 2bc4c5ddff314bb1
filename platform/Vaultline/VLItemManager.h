// VLItemManager: the Vaultline service's client object.
//
// Every operation is asynchronous: it returns at once and calls its completion later,
// exactly once, on a service thread (never synchronously inside the call), with a result
// or an error. Collections are returned at once and deliver through their own queue.
// defaultManager() is the current platform's shared instance; subclasses (such as the
// harness's logging manager) may stand in for it. Implementations are thread-safe.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/VLError.h"
#include "Core/VLURL.h"
#include "Vaultline/VLActionOperation.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLItemCollection.h"
#include "Vaultline/VLItemID.h"
#include "Vaultline/VLProvider.h"
#include "Vaultline/VLThumbnailFetchOperation.h"

class VLItemManager {
 public:
  using ItemCompletion = std::function<void(VLItemRef item, VLErrorRef error)>;
  using URLCompletion = std::function<void(std::optional<VLURL> url, VLErrorRef error)>;

  virtual ~VLItemManager() = default;

  // Returns the current platform's shared item manager; throws VLException when no platform
  // is installed.
  static std::shared_ptr<VLItemManager> defaultManager();

  // Fetches the root item of `provider`.
  virtual void fetchRootItemForProvider(const std::shared_ptr<VLProvider>& provider, ItemCompletion completion) = 0;
  // Fetches the URL of the item's local copy.
  virtual void fetchURLForItem(const VLItemRef& item, URLCompletion completion) = 0;
  // Fetches the URL of the item's local copy; with `creatingPlaceholderIfMissing`, an item
  // whose content is not local gets a placeholder at that URL instead of an error.
  virtual void fetchURLForItem(const VLItemRef& item, bool creatingPlaceholderIfMissing, URLCompletion completion) = 0;
  // Fetches the current item for an item ID.
  virtual void fetchItemForItemID(const std::shared_ptr<const VLItemID>& itemID, ItemCompletion completion) = 0;
  // Fetches the item whose local copy or placeholder is at `url`.
  virtual void fetchItemForURL(const VLURL& url, ItemCompletion completion) = 0;
  // Carries out `action`; the action reports through its own completion callbacks. Throws
  // VLException for a null action.
  virtual void scheduleAction(const std::shared_ptr<VLActionOperation>& action) = 0;
  // Returns a collection of the children of a folder item.
  virtual std::shared_ptr<VLItemCollection> collectionForFolderItem(const VLItemRef& folder) = 0;
  // Returns a collection of the children of the container named by `itemID`. Throws
  // VLException on revisions without it (see VLPlatformCapability::NewCollectionWithItemID).
  virtual std::shared_ptr<VLItemCollection> newCollectionWithItemID(const std::shared_ptr<const VLItemID>& itemID) = 0;
  // Returns a collection of the children of a container, named by its three parts.
  virtual std::shared_ptr<VLItemCollection> collectionWithIdentifier(const std::string& identifier,
                                                                     const std::optional<std::string>& domainIdentifier,
                                                                     const std::string& providerIdentifier,
                                                                     const std::vector<std::string>& fileTypes) = 0;
  // Returns a collection over every item of the provider (the system search index).
  virtual std::shared_ptr<VLItemCollection> newCollectionForProvider(const std::string& providerID) = 0;
  // Returns an operation that fetches thumbnails of `items` at `size` points and `scale`.
  virtual std::shared_ptr<VLThumbnailFetchOperation> thumbnailsFetchOperationForItems(
      const std::vector<VLItemRef>& items, VLSize size, double scale) = 0;

  // Fetches item `identifier` of `provider` on any platform revision: as a
  // VLFetchItemOperation scheduled on this manager where the platform has that class (so a
  // logging manager sees it), otherwise through fetchItemForItemID() of defaultManager(),
  // which deliberately bypasses this manager. `completion` runs once, on a service thread.
  void fetchItem(const std::string& identifier, const std::shared_ptr<VLProvider>& provider, ItemCompletion completion);
};
