#include "support/CaseTestPlatform.h"

#include "support/ActionRecordingPlatform.h"

namespace {

VLErrorRef unsupported() {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported, "not supported by the test double");
}

void later(std::function<void()> work) { VLBackgroundQueue::shared().async(std::move(work)); }

class TestProxy : public VLRemoteObjectProxy {
 public:
  TestProxy(CaseTestPlatform::Service service, std::function<void(VLErrorRef)> handler)
      : service_(std::move(service)), handler_(std::move(handler)) {}

  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(std::function<void(VLErrorRef)> handler) override {
    return std::make_shared<TestProxy>(service_, std::move(handler));
  }
  void validation_allowValidation(AllowReply reply) override {
    auto service = service_;
    auto handler = handler_;
    later([service, handler, reply] {
      if (service.connectionFails) {
        if (handler) handler(VLError::makeWithDescription("test.connection", 1, "connection interrupted"));
        return;
      }
      reply(service.allowed, service.options);
    });
  }
  void validation_evictDocumentWithCompletionHandler(ErrorReply reply) override { later([reply] { reply(nullptr); }); }
  void validation_shareDocumentWithCompletionHandler(ErrorReply reply) override { later([reply] { reply(nullptr); }); }

 private:
  const CaseTestPlatform::Service service_;
  const std::function<void(VLErrorRef)> handler_;
};

class TestConnection : public VLServiceConnection {
 public:
  explicit TestConnection(CaseTestPlatform::Service service) : service_(std::move(service)) {}
  void resume() override {}
  void invalidate() override {}
  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxy() override { return std::make_shared<TestProxy>(service_, nullptr); }
  std::shared_ptr<VLRemoteObjectProxy> remoteObjectProxyWithErrorHandler(std::function<void(VLErrorRef)> handler) override {
    return std::make_shared<TestProxy>(service_, std::move(handler));
  }

 private:
  const CaseTestPlatform::Service service_;
};

class TestService : public VLVaultlineService {
 public:
  explicit TestService(CaseTestPlatform::Service service) : service_(std::move(service)) {}
  std::string name() const override { return KsVaultlineValidationServiceV1Name; }
  void getVaultlineConnectionWithCompletionHandler(ConnectionCompletion completion) override {
    auto service = service_;
    later([service, completion] {
      if (service.connectionError) {
        completion(nullptr, service.connectionError);
      } else {
        completion(std::make_shared<TestConnection>(service), nullptr);
      }
    });
  }

 private:
  const CaseTestPlatform::Service service_;
};

}  // namespace

void CaseTestCollection::startObserving() {
  auto queue = workingQueue();
  {
    std::lock_guard lock(mutex_);
    ++starts_;
    onQueue_ = onQueue_ && queue->isCurrent();
  }
  std::weak_ptr<VLItemCollection> weakSelf = shared_from_this();
  queue->async([weakSelf] {
    auto self = weakSelf.lock();
    if (!self) return;
    if (auto delegate = self->delegate()) delegate->dataForCollectionShouldBeReloaded(*self);
  });
}

void CaseTestCollection::stopObserving() {
  std::lock_guard lock(mutex_);
  ++stops_;
  onQueue_ = onQueue_ && workingQueue()->isCurrent();
}

void CaseTestCollection::reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) {
  bool onQueue = workingQueue()->isCurrent();
  std::lock_guard lock(mutex_);
  sort_ = descriptors;
  sortedOnQueue_ = onQueue;
}

std::vector<VLSortDescriptor> CaseTestCollection::sortDescriptors() const {
  std::lock_guard lock(mutex_);
  return sort_;
}
bool CaseTestCollection::sortedOnWorkingQueue() const {
  std::lock_guard lock(mutex_);
  return sortedOnQueue_;
}
int CaseTestCollection::starts() const {
  std::lock_guard lock(mutex_);
  return starts_;
}
int CaseTestCollection::stops() const {
  std::lock_guard lock(mutex_);
  return stops_;
}
bool CaseTestCollection::observedOnWorkingQueue() const {
  std::lock_guard lock(mutex_);
  return onQueue_;
}

class CaseTestPlatform::Manager : public VLItemManager {
 public:
  explicit Manager(std::weak_ptr<CaseTestPlatform> platform) : platform_(std::move(platform)) {}

  void fetchRootItemForProvider(const std::shared_ptr<VLProvider>&, ItemCompletion completion) override {
    VLErrorRef error = platform_.lock()->rootError_;
    later([completion, error] { completion(error ? nullptr : makeTestFileItem("Root", KsVaultlineRootContainerItemIdentifier), error); });
  }
  void fetchURLForItem(const VLItemRef& item, URLCompletion completion) override {
    VLErrorRef error = platform_.lock()->urlError_;
    std::string name = item->filename();
    later([completion, error, name] {
      if (error) return completion(std::nullopt, error);
      completion(VLURL::fileURLWithPath("/vaultline/" + name, false), nullptr);
    });
  }
  void fetchURLForItem(const VLItemRef& item, bool, URLCompletion completion) override { fetchURLForItem(item, completion); }
  void fetchItemForItemID(const std::shared_ptr<const VLItemID>&, ItemCompletion c) override {
    later([c] { c(nullptr, unsupported()); });
  }
  void fetchItemForURL(const VLURL&, ItemCompletion c) override { later([c] { c(nullptr, unsupported()); }); }
  void scheduleAction(const std::shared_ptr<VLActionOperation>& action) override {
    auto platform = platform_.lock();
    {
      std::lock_guard lock(platform->mutex_);
      platform->actions_.push_back(action);
      if (platform->hold_) {
        platform->held_.push_back(action);
        return;
      }
    }
    later([action] { action->completeWithError(nullptr); });
  }
  std::shared_ptr<VLItemCollection> collectionForFolderItem(const VLItemRef&) override { return nullptr; }
  std::shared_ptr<VLItemCollection> newCollectionWithItemID(const std::shared_ptr<const VLItemID>& itemID) override {
    auto collection = std::make_shared<CaseTestCollection>();
    collection->origin = "itemID";
    collection->itemID = itemID;
    return record(collection);
  }
  std::shared_ptr<VLItemCollection> collectionWithIdentifier(const std::string& identifier,
                                                             const std::optional<std::string>& domain,
                                                             const std::string& provider,
                                                             const std::vector<std::string>&) override {
    auto collection = std::make_shared<CaseTestCollection>();
    collection->origin = "identifier";
    collection->parts = {identifier, domain.value_or("(none)"), provider};
    return record(collection);
  }
  std::shared_ptr<VLItemCollection> newCollectionForProvider(const std::string& providerID) override {
    auto collection = std::make_shared<CaseTestCollection>();
    collection->origin = "provider";
    collection->parts = {providerID};
    return record(collection);
  }
  std::shared_ptr<VLThumbnailFetchOperation> thumbnailsFetchOperationForItems(const std::vector<VLItemRef>&, VLSize,
                                                                              double) override {
    return nullptr;
  }

 private:
  std::shared_ptr<VLItemCollection> record(std::shared_ptr<CaseTestCollection> collection) {
    collection->contents = {makeTestFileItem("Existing.txt", "existing-1")};
    platform_.lock()->addCollection(collection);
    return collection;
  }
  std::weak_ptr<CaseTestPlatform> platform_;
};

std::shared_ptr<CaseTestPlatform> CaseTestPlatform::install() {
  auto platform = std::make_shared<CaseTestPlatform>();
  platform->manager_ = std::make_shared<Manager>(platform);
  VLPlatform::install(platform);
  return platform;
}

void CaseTestPlatform::setOffers(VLPlatformCapability capability, bool offered) {
  if (offered) {
    missing_.erase(capability);
  } else {
    missing_.insert(capability);
  }
}

bool CaseTestPlatform::offers(VLPlatformCapability capability) const { return !missing_.count(capability); }

void CaseTestPlatform::getVaultlineServicesForItemAtURL(const VLURL&, VLServicesCompletion completion) {
  VLErrorRef error = servicesError_;
  Service service = service_;
  later([completion, error, service] {
    VLVaultlineServices services;
    if (!error && service.present) services[KsVaultlineValidationServiceV1Name] = std::make_shared<TestService>(service);
    completion(services, error);
  });
}

void CaseTestPlatform::setHoldActions(bool hold) {
  std::lock_guard lock(mutex_);
  hold_ = hold;
}

void CaseTestPlatform::releaseActions() {
  std::vector<std::shared_ptr<VLActionOperation>> held;
  {
    std::lock_guard lock(mutex_);
    held.swap(held_);
  }
  for (auto& action : held) action->completeWithError(nullptr);
}

std::vector<std::shared_ptr<VLActionOperation>> CaseTestPlatform::scheduledActions() {
  std::lock_guard lock(mutex_);
  return actions_;
}

std::vector<std::shared_ptr<CaseTestCollection>> CaseTestPlatform::collections() {
  std::lock_guard lock(mutex_);
  return collections_;
}

void CaseTestPlatform::addCollection(std::shared_ptr<CaseTestCollection> collection) {
  std::lock_guard lock(mutex_);
  collections_.push_back(std::move(collection));
}
