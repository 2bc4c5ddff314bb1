#include "Simulated/VLSimulatedItemManager.h"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Simulated/VLSimulatedErrors.h"
#include "Simulated/VLSimulatedThumbnailOperation.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLFileManager.h"

namespace fs = std::filesystem;

namespace {

VLErrorRef noSuchItem(const std::string& what) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                      VLFormat("The item %@ doesn't exist.", what));
}

VLSimulatedCollection::Scope unavailable(VLErrorRef error) {
  return {VLSimulatedCollection::ScopeKind::Unavailable, "", std::move(error)};
}

// Returns what answers a look-up whose work threw: the completion with no value and the error.
template <class Completion>
std::function<void(VLErrorRef)> failWith(const Completion& completion) {
  return [completion](VLErrorRef error) { completion({}, error); };
}

}  // namespace

std::shared_ptr<VLSimulatedItemManager> VLSimulatedItemManager::make(std::shared_ptr<VLSimulatedActionRunner> runner,
                                                                     std::shared_ptr<VLDispatchQueue> queue,
                                                                     std::shared_ptr<VLSimulatedTimer> timer) {
  return std::shared_ptr<VLSimulatedItemManager>(
      new VLSimulatedItemManager(std::move(runner), std::move(queue), std::move(timer)));
}

void VLSimulatedItemManager::answer(std::function<void(VLErrorRef)> fail, std::function<std::function<void()>()> work) {
  queue_->async([fail = std::move(fail), work = std::move(work)] {
    std::function<void()> reply;
    try {
      reply = work();
    } catch (...) {
      reply = [fail, error = VLError::makeWithCurrentException("The simulated provider's look-up")] { fail(error); };
    }
    VLBackgroundQueue::shared().async(std::move(reply));
  });
}

bool VLSimulatedItemManager::providerMatches(const std::string& part) const {
  const auto& provider = store_->provider();
  return part == provider->providerIdentifier() || part == provider->identifier() || part == provider->providerID();
}

void VLSimulatedItemManager::fetchRootItemForProvider(const std::shared_ptr<VLProvider>& provider,
                                                      ItemCompletion completion) {
  bool known = provider && providerMatches(provider->providerIdentifier());
  answer(failWith(completion), [known, provider, completion, store = store_] {
    VLItemRef root;
    if (known) {
      auto lock = store->lock();
      root = store->snapshotLocked(*store->nodeLocked(KsVaultlineRootContainerItemIdentifier));
    }
    VLErrorRef error = root ? nullptr : noSuchItem(VLFormat("root of provider %@", provider));
    return [completion, root, error] { completion(root, error); };
  });
}

void VLSimulatedItemManager::fetchURLForItem(const VLItemRef& item, URLCompletion completion) {
  answer(failWith(completion), [item, completion, store = store_] {
    std::optional<VLURL> url;
    auto lock = store->lock();
    VLSimulatedNode* node = item ? store->nodeLocked(item->itemIdentifier()) : nullptr;
    if (node)
      url = VLURL::fileURLWithPath(store->pathLocked(*node).string(), node->kind != VLSimulatedNode::Kind::File);
    VLErrorRef error = node ? nullptr : noSuchItem(item ? item->itemIdentifier() : "(null)");
    return [completion, url, error] { completion(url, error); };
  });
}

void VLSimulatedItemManager::fetchURLForItem(const VLItemRef& item, bool creatingPlaceholderIfMissing,
                                             URLCompletion completion) {
  answer(failWith(completion), [item, creatingPlaceholderIfMissing, completion, store = store_] {
    std::optional<VLURL> url;
    VLErrorRef error;
    auto lock = store->lock();
    VLSimulatedNode* node = item ? store->nodeLocked(item->itemIdentifier()) : nullptr;
    if (!node) {
      error = noSuchItem(item ? item->itemIdentifier() : "(null)");
    } else {
      fs::path path = store->pathLocked(*node);
      fs::path placeholder = VLSimulatedStore::placeholderPath(path);
      std::error_code ignored;
      bool present = fs::exists(path, ignored) || fs::exists(placeholder, ignored);
      if (!present && creatingPlaceholderIfMissing && !store->quirks().refusesPlaceholders()) {
        std::ofstream(placeholder) << node->identifier << "\n";
        present = fs::exists(placeholder, ignored);
      }
      VLURL found = VLURL::fileURLWithPath(path.string(), node->kind != VLSimulatedNode::Kind::File);
      if (present) {
        url = found;
      } else {
        error = VLFileManager::posixError(ENOENT, found);
      }
    }
    return [completion, url, error] { completion(url, error); };
  });
}

void VLSimulatedItemManager::fetchItemForItemID(const std::shared_ptr<const VLItemID>& itemID,
                                                ItemCompletion completion) {
  answer(failWith(completion), [itemID, completion, store = store_] {
    auto lock = store->lock();
    VLSimulatedNode* node = itemID ? store->nodeForItemIDLocked(*itemID) : nullptr;
    VLItemRef item = node ? store->lookupSnapshotLocked(*node) : nullptr;
    VLErrorRef error = node ? nullptr : noSuchItem(itemID ? itemID->description() : "(null)");
    return [completion, item, error] { completion(item, error); };
  });
}

void VLSimulatedItemManager::fetchItemForURL(const VLURL& url, ItemCompletion completion) {
  answer(failWith(completion), [url, completion, store = store_] {
    auto lock = store->lock();
    VLSimulatedNode* node = store->nodeForPathLocked(url.path());
    VLItemRef item = node ? store->snapshotLocked(*node) : store->ghostForPathLocked(url.path());
    VLErrorRef error = item ? nullptr : noSuchItem(VLFormat("at %@", url));
    return [completion, item, error] { completion(item, error); };
  });
}

void VLSimulatedItemManager::scheduleAction(const std::shared_ptr<VLActionOperation>& action) {
  if (!action) throw VLException("scheduleAction was given no action");
  bool accepted = timer_->after(store_->settings().actionLatency, [queue = queue_, runner = runner_, action] {
    queue->async([runner, action] {
      std::function<void()> complete;
      try {
        complete = runner->perform(action);
      } catch (...) {
        complete = [action, error = VLError::makeWithCurrentException("The simulated provider's action")] {
          action->completeWithError(error);
        };
      }
      VLBackgroundQueue::shared().async(std::move(complete));
    });
  });
  if (!accepted) {
    VLBackgroundQueue::shared().async([action] {
      action->completeWithError(VLSimulatedErrors::notSupported("The simulated provider service has ended."));
    });
  }
}

std::shared_ptr<VLItemCollection> VLSimulatedItemManager::collection(VLSimulatedCollection::Scope scope) {
  return VLSimulatedCollection::make(store_, std::move(scope), timer_);
}

std::shared_ptr<VLItemCollection> VLSimulatedItemManager::containerCollection(const std::string& identifier,
                                                                              bool providerKnown) {
  using Kind = VLSimulatedCollection::ScopeKind;
  if (!providerKnown) return collection(unavailable(noSuchItem("of another provider")));
  if (identifier == KsVaultlineWorkingSetContainerItemIdentifier) {
    if (!store_->settings().workingSet) {
      return collection(unavailable(VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported,
                                                                 "This provider has no working set.")));
    }
    return collection({Kind::WorkingSet, identifier, nullptr});
  }
  return collection({Kind::Container, identifier, nullptr});
}

std::shared_ptr<VLItemCollection> VLSimulatedItemManager::collectionForFolderItem(const VLItemRef& folder) {
  if (!folder) return collection(unavailable(noSuchItem("(null)")));
  return containerCollection(folder->itemIdentifier(), providerMatches(folder->providerIdentifier()));
}

std::shared_ptr<VLItemCollection> VLSimulatedItemManager::newCollectionWithItemID(
    const std::shared_ptr<const VLItemID>& itemID) {
  if (store_->settings().revision != VLSimulatedRevision::Current) {
    throw VLException("VLItemManager does not respond to newCollectionWithItemID: on this platform revision");
  }
  if (!itemID) return collection(unavailable(noSuchItem("(null)")));
  return containerCollection(itemID->itemIdentifier(), providerMatches(itemID->providerPart()));
}

std::shared_ptr<VLItemCollection> VLSimulatedItemManager::collectionWithIdentifier(
    const std::string& identifier, const std::optional<std::string>&, const std::string& providerIdentifier,
    const std::vector<std::string>&) {
  return containerCollection(identifier, providerMatches(providerIdentifier));
}

std::shared_ptr<VLItemCollection> VLSimulatedItemManager::newCollectionForProvider(const std::string& providerID) {
  if (!providerMatches(providerID)) return collection(unavailable(noSuchItem("of another provider")));
  return collection({VLSimulatedCollection::ScopeKind::Provider, "", nullptr});
}

std::shared_ptr<VLThumbnailFetchOperation> VLSimulatedItemManager::thumbnailsFetchOperationForItems(
    const std::vector<VLItemRef>& items, VLSize size, double scale) {
  return VLSimulatedThumbnailOperation::make(items, size, scale, store_);
}
