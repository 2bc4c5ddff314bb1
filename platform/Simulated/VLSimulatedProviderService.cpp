#include "Simulated/VLSimulatedProviderService.h"

#include <cerrno>
#include <filesystem>

#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Simulated/VLSimulatedActionRunner.h"
#include "Simulated/VLSimulatedItemManager.h"
#include "Simulated/VLSimulatedStore.h"
#include "Simulated/VLSimulatedTimer.h"
#include "Simulated/VLSimulatedValidationService.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLFileManager.h"
#include "Vaultline/VLStandardTypes.h"

namespace fs = std::filesystem;

std::shared_ptr<VLSimulatedProviderService> VLSimulatedProviderService::make(const std::string& settings) {
  return make(VLSimulatedSettings::parse(settings));
}

std::shared_ptr<VLSimulatedProviderService> VLSimulatedProviderService::make(VLSimulatedSettings settings) {
  return std::shared_ptr<VLSimulatedProviderService>(new VLSimulatedProviderService(std::move(settings)));
}

VLSimulatedProviderService::VLSimulatedProviderService(VLSimulatedSettings settings) : settings_(std::move(settings)) {
  std::optional<VLProvider::Domain> domain;
  std::string identifier = settings_.providerIdentifier;
  if (settings_.domainIdentifier) {
    domain = VLProvider::Domain{settings_.domainIdentifier, *settings_.domainIdentifier};
    identifier += "/" + *settings_.domainIdentifier;
  } else {
    domain = VLProvider::Domain{std::nullopt, "Default"};
  }
  provider_ = VLProvider::make(identifier, settings_.providerIdentifier, domain, settings_.providerIdentifier);
  types_ = std::make_shared<VLTypeDatabase>();
  vl_declareStandardTypes(*types_);
  queue_ = VLDispatchQueue::make("simulated-provider-service");
  timer_ = VLSimulatedTimer::make();
  store_ = VLSimulatedStore::make(settings_, provider_, types_, fs::path(VLPlatform::temporaryDirectory().path()));
  runner_ = VLSimulatedActionRunner::make(
      store_, [queue = queue_, timer = timer_](std::chrono::microseconds delay, std::function<void()> task) {
        timer->after(delay, [queue, task = std::move(task)] { queue->async(task); });
      });
  itemManager_ = VLSimulatedItemManager::make(runner_, queue_, timer_);
}

VLSimulatedProviderService::~VLSimulatedProviderService() { end(); }

void VLSimulatedProviderService::install() {
  if (hasEnded()) {
    throw VLException("this simulated provider service has ended (it was uninstalled); make a new one to install");
  }
  VLPlatform::install(shared_from_this());
}

void VLSimulatedProviderService::end() {
  timer_->stop();
  // Whatever the timer had already handed to the service queue finishes before this returns.
  if (!queue_->isCurrent()) queue_->sync([] {});
}

bool VLSimulatedProviderService::hasEnded() const { return timer_->isStopped(); }

void VLSimulatedProviderService::didUninstall() { end(); }

VLURL VLSimulatedProviderService::storageDirectory() const {
  return VLURL::fileURLWithPath(store_->storageDirectory().string(), true);
}

std::string VLSimulatedProviderService::validationRootIdentifier() const {
  return store_->alternateRootIdentifier().value_or(KsVaultlineRootContainerItemIdentifier);
}

std::shared_ptr<VLItemManager> VLSimulatedProviderService::defaultItemManager() { return itemManager_; }

bool VLSimulatedProviderService::offers(VLPlatformCapability capability) const {
  return vl_revisionOffers(settings_.revision == VLSimulatedRevision::Current, capability);
}

void VLSimulatedProviderService::getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion) {
  queue_->async([url, completion = std::move(completion), store = store_, runner = runner_, queue = queue_] {
    VLVaultlineServices services;
    VLErrorRef error;
    {
      auto lock = store->lock();
      VLSimulatedNode* node = store->nodeForPathLocked(url.path());
      if (!node) {
        error = VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                             VLFormat("No item of this provider is at %@.", url));
      } else if (store->settings().validationServicePresent) {
        services[KsVaultlineValidationServiceV1Name] =
            VLSimulatedValidationService::make(runner, queue, node->identifier);
      }
    }
    VLBackgroundQueue::shared().async([completion, services, error] { completion(services, error); });
  });
}

bool VLSimulatedProviderService::checkPromisedItemIsReachable(const VLURL& url, VLErrorRef* error) {
  std::error_code ignored;
  fs::path path(url.path());
  if (fs::exists(path, ignored) || fs::exists(VLSimulatedStore::placeholderPath(path), ignored)) return true;
  if (error) *error = VLFileManager::posixError(ENOENT, url);
  return false;
}

bool VLSimulatedProviderService::coordinateReading(const VLURL& url, VLErrorRef* error,
                                                   const std::function<void(const VLURL&)>& reader) {
  if (!runner_->materialize(url.path(), error)) return false;
  reader(url);
  return true;
}

bool VLSimulatedProviderService::deviceBooleanProperty(const std::string& name) const {
  return name == "InternalBuild" && settings_.internalBuild;
}
