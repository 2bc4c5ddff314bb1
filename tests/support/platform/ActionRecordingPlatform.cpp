#include "support/ActionRecordingPlatform.h"

namespace {
VLErrorRef unsupported() {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported,
                                      "not supported by the test double");
}
}  // namespace

class ActionRecordingPlatform::Manager : public VLItemManager {
 public:
  explicit Manager(std::weak_ptr<ActionRecordingPlatform> platform) : platform_(std::move(platform)) {}

  void scheduleAction(const std::shared_ptr<VLActionOperation>& action) override {
    auto platform = platform_.lock();
    VLErrorRef error;
    bool never;
    {
      std::lock_guard lock(platform->mutex_);
      platform->actions_.push_back(action);
      error = platform->error_;
      never = platform->never_;
    }
    if (never) return;
    VLBackgroundQueue::shared().async([action, error] { action->completeWithError(error); });
  }
  void fetchRootItemForProvider(const std::shared_ptr<VLProvider>&, ItemCompletion c) override { later(c); }
  void fetchURLForItem(const VLItemRef&, URLCompletion c) override { laterURL(c); }
  void fetchURLForItem(const VLItemRef&, bool, URLCompletion c) override { laterURL(c); }
  void fetchItemForItemID(const std::shared_ptr<const VLItemID>&, ItemCompletion c) override { later(c); }
  void fetchItemForURL(const VLURL&, ItemCompletion c) override { later(c); }
  std::shared_ptr<VLItemCollection> collectionForFolderItem(const VLItemRef&) override { return nullptr; }
  std::shared_ptr<VLItemCollection> newCollectionWithItemID(const std::shared_ptr<const VLItemID>&) override {
    return nullptr;
  }
  std::shared_ptr<VLItemCollection> collectionWithIdentifier(const std::string&, const std::optional<std::string>&,
                                                             const std::string&,
                                                             const std::vector<std::string>&) override {
    return nullptr;
  }
  std::shared_ptr<VLItemCollection> newCollectionForProvider(const std::string&) override { return nullptr; }
  std::shared_ptr<VLThumbnailFetchOperation> thumbnailsFetchOperationForItems(const std::vector<VLItemRef>&, VLSize,
                                                                              double) override {
    return nullptr;
  }

 private:
  static void later(ItemCompletion c) {
    VLBackgroundQueue::shared().async([c] { c(nullptr, unsupported()); });
  }
  static void laterURL(URLCompletion c) {
    VLBackgroundQueue::shared().async([c] { c(std::nullopt, unsupported()); });
  }
  std::weak_ptr<ActionRecordingPlatform> platform_;
};

std::shared_ptr<ActionRecordingPlatform> ActionRecordingPlatform::install() {
  auto platform = std::make_shared<ActionRecordingPlatform>();
  platform->manager_ = std::make_shared<Manager>(platform);
  VLPlatform::install(platform);
  return platform;
}

void ActionRecordingPlatform::setCompletionError(VLErrorRef error) {
  std::lock_guard lock(mutex_);
  error_ = std::move(error);
}

void ActionRecordingPlatform::setNeverComplete(bool never) {
  std::lock_guard lock(mutex_);
  never_ = never;
}

std::vector<std::shared_ptr<VLActionOperation>> ActionRecordingPlatform::scheduled() {
  std::lock_guard lock(mutex_);
  return actions_;
}

std::shared_ptr<VLItemManager> ActionRecordingPlatform::defaultItemManager() { return manager_; }

void ActionRecordingPlatform::getVaultlineServicesForItemAtURL(const VLURL&, VLServicesCompletion completion) {
  VLBackgroundQueue::shared().async([completion] { completion({}, unsupported()); });
}
