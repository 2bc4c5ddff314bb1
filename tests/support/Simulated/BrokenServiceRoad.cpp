#include "support/BrokenServiceRoad.h"

namespace {

VLErrorRef broken() { return VLError::makeWithDescription("test", 7, "broken"); }

void later(std::function<void()> work) { VLBackgroundQueue::shared().async(std::move(work)); }

// The service's item manager, except that no item has a URL.
class NoURLManager : public VLItemManager {
 public:
  explicit NoURLManager(std::shared_ptr<VLItemManager> inner) : inner_(std::move(inner)) {}
  void fetchRootItemForProvider(const std::shared_ptr<VLProvider>& p, ItemCompletion c) override {
    inner_->fetchRootItemForProvider(p, std::move(c));
  }
  void fetchURLForItem(const VLItemRef&, URLCompletion c) override {
    later([c] { c(std::nullopt, broken()); });
  }
  void fetchURLForItem(const VLItemRef& item, bool, URLCompletion c) override { fetchURLForItem(item, std::move(c)); }
  void fetchItemForItemID(const std::shared_ptr<const VLItemID>& id, ItemCompletion c) override {
    inner_->fetchItemForItemID(id, std::move(c));
  }
  void fetchItemForURL(const VLURL& url, ItemCompletion c) override { inner_->fetchItemForURL(url, std::move(c)); }
  void scheduleAction(const std::shared_ptr<VLActionOperation>& action) override { inner_->scheduleAction(action); }
  std::shared_ptr<VLItemCollection> collectionForFolderItem(const VLItemRef& f) override {
    return inner_->collectionForFolderItem(f);
  }
  std::shared_ptr<VLItemCollection> newCollectionWithItemID(const std::shared_ptr<const VLItemID>& id) override {
    return inner_->newCollectionWithItemID(id);
  }
  std::shared_ptr<VLItemCollection> collectionWithIdentifier(const std::string& identifier,
                                                             const std::optional<std::string>& domain,
                                                             const std::string& provider,
                                                             const std::vector<std::string>& keys) override {
    return inner_->collectionWithIdentifier(identifier, domain, provider, keys);
  }
  std::shared_ptr<VLItemCollection> newCollectionForProvider(const std::string& id) override {
    return inner_->newCollectionForProvider(id);
  }
  std::shared_ptr<VLThumbnailFetchOperation> thumbnailsFetchOperationForItems(const std::vector<VLItemRef>& items,
                                                                              VLSize size, double scale) override {
    return inner_->thumbnailsFetchOperationForItems(items, size, scale);
  }

 private:
  const std::shared_ptr<VLItemManager> inner_;
};

class BrokenService : public VLVaultlineService {
 public:
  BrokenService(std::shared_ptr<VLVaultlineService> inner, VLBrokenStep step) : inner_(std::move(inner)), step_(step) {}
  std::string name() const override { return inner_->name(); }
  void getVaultlineConnectionWithCompletionHandler(ConnectionCompletion completion) override {
    if (step_ == VLBrokenStep::RefusedConnection) return later([completion] { completion(nullptr, broken()); });
    inner_->getVaultlineConnectionWithCompletionHandler(
        [completion](std::shared_ptr<VLServiceConnection> connection, VLErrorRef error) {
          if (connection) connection->invalidate();
          completion(connection, error);
        });
  }

 private:
  const std::shared_ptr<VLVaultlineService> inner_;
  const VLBrokenStep step_;
};

class BrokenPlatform : public VLPlatform {
 public:
  BrokenPlatform(std::shared_ptr<VLSimulatedProviderService> service, VLBrokenStep step)
      : service_(std::move(service)),
        step_(step),
        noURL_(std::make_shared<NoURLManager>(service_->defaultItemManager())) {}

  std::shared_ptr<VLItemManager> defaultItemManager() override {
    return step_ == VLBrokenStep::RootURL ? noURL_ : service_->defaultItemManager();
  }
  bool offers(VLPlatformCapability capability) const override { return service_->offers(capability); }
  void getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion) override {
    if (step_ == VLBrokenStep::Services) return later([completion] { completion({}, broken()); });
    service_->getVaultlineServicesForItemAtURL(
        url, [step = step_, completion](VLVaultlineServices services, VLErrorRef error) {
          for (auto& [name, service] : services) service = std::make_shared<BrokenService>(service, step);
          completion(services, error);
        });
  }
  bool checkPromisedItemIsReachable(const VLURL& url, VLErrorRef* error) override {
    return service_->checkPromisedItemIsReachable(url, error);
  }
  const VLTypeDatabase& typeDatabase() const override { return service_->typeDatabase(); }
  bool deviceBooleanProperty(const std::string& name) const override { return service_->deviceBooleanProperty(name); }

 private:
  const std::shared_ptr<VLSimulatedProviderService> service_;
  const VLBrokenStep step_;
  const std::shared_ptr<VLItemManager> noURL_;
};

}  // namespace

void vl_installWithBrokenStep(const std::shared_ptr<VLSimulatedProviderService>& service, VLBrokenStep step) {
  VLPlatform::install(std::make_shared<BrokenPlatform>(service, step));
}
