// VLValidationLoggingItemManager: the item manager a validation acts through. Every action
// scheduled here becomes a "Performing <action>" expectation of the validator, settled when
// the action completes: fulfilled if it did what was expected (succeeded, or failed when
// expectedToFail() was set), failed otherwise. Everything else is forwarded unchanged to
// the current platform's default item manager.
//
// Made by the validator, which it refers to weakly. Thread-safe: actions may be scheduled
// from any thread, completions arrive on service threads.
#pragma once

#include <memory>
#include <mutex>

#include "Vaultline/VLItemManager.h"

class VLValidator;

class VLValidationLoggingItemManager : public VLItemManager {
 public:
  // Makes a manager without a validator (VLValidator::make() makes its own and sets it).
  static std::shared_ptr<VLValidationLoggingItemManager> make();

  // The validator whose expectations record the actions, held weakly; null when it is gone
  // (actions are then forwarded without an expectation). Thread-safe.
  std::shared_ptr<VLValidator> validator() const;
  void setValidator(std::weak_ptr<VLValidator> validator);

  // Creates the "Performing %@" expectation, wraps the action's completion block so that it
  // settles that expectation before calling the previous block, and hands the action on.
  // Throws VLException for a null action.
  void scheduleAction(const std::shared_ptr<VLActionOperation>& action) override;

  // Everything else is forwarded to the current platform's default item manager.
  void fetchRootItemForProvider(const std::shared_ptr<VLProvider>& provider, ItemCompletion completion) override;
  void fetchURLForItem(const VLItemRef& item, URLCompletion completion) override;
  void fetchURLForItem(const VLItemRef& item, bool creatingPlaceholderIfMissing, URLCompletion completion) override;
  void fetchItemForItemID(const std::shared_ptr<const VLItemID>& itemID, ItemCompletion completion) override;
  void fetchItemForURL(const VLURL& url, ItemCompletion completion) override;
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
  VLValidationLoggingItemManager() = default;
  static std::shared_ptr<VLItemManager> base() { return VLItemManager::defaultManager(); }
  // Records the action (described by `description`) as scheduled on the validator's trace
  // and returns what records it as finished, with its error and its duration.
  static std::function<void(VLErrorRef error)> traceAction(const std::shared_ptr<VLValidator>& validator,
                                                           const std::string& description, bool expectedToFail);

  mutable std::mutex mutex_;
  std::weak_ptr<VLValidator> validator_;  // guarded by mutex_
};

// Returns the diagnostic description of an action: its own description.
std::string vl_prettyDescription(const std::shared_ptr<const VLActionOperation>& action);
