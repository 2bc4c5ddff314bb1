#include "Validations/VLValidationEligibility.h"

#include <atomic>

#include "Core/VLException.h"
#include "Core/VLLog.h"
#include "Validations/Implementation/VLValidationServiceAccess.h"
#include "Validations/VLValidationErrors.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "Vaultline/VLItemManager.h"
#include "Vaultline/VLPlatform.h"

void performWithValidationProxy(const std::shared_ptr<VLProvider>& provider,
                                std::function<void(std::shared_ptr<VLRemoteObjectProxy> proxy)> callback) {
  if (!provider) throw VLException("performWithValidationProxy: no provider given");
  if (!callback) throw VLException("performWithValidationProxy: no callback given");
  VLItemManager::defaultManager()->fetchRootItemForProvider(
      provider, [provider, callback](VLItemRef root, VLErrorRef error) {
        if (!root) {
          VLLog::error("failed to get root item for provider %@, %@", provider, vl_prettyDescription(error));
          callback(nullptr);
          return;
        }
        vl_reachValidationService(root, [provider, callback](std::shared_ptr<VLRemoteObjectProxy> proxy,
                                                             VLErrorRef error, VLValidationServiceFailure failure) {
          switch (failure) {
            case VLValidationServiceFailure::None: break;
            case VLValidationServiceFailure::URL:
              VLLog::error("failed to get root url for provider %@, %@", provider, vl_prettyDescription(error));
              break;
            case VLValidationServiceFailure::Services:
              VLLog::error("failed to get services for provider %@, %@", provider, vl_prettyDescription(error));
              break;
            case VLValidationServiceFailure::MissingService:
              VLLog::error("didn't find validation service %@ for %@", KsVaultlineValidationServiceV1Name, provider);
              break;
            case VLValidationServiceFailure::Connection: break;  // no line for a refused connection
          }
          callback(proxy);
        });
      });
}

void determineValidationEligibility(const std::shared_ptr<VLProvider>& provider,
                                    std::function<void(bool eligible)> callback) {
  if (!provider) throw VLException("determineValidationEligibility: no provider given");
  if (!callback) throw VLException("determineValidationEligibility: no callback given");
  const bool internalBuild = VLPlatform::current()->deviceBooleanProperty("InternalBuild");

  performWithValidationProxy(provider, [provider, callback, internalBuild](std::shared_ptr<VLRemoteObjectProxy> proxy) {
    if (!proxy) {
      callback(internalBuild);
      return;
    }
    // The reply and the error handler may both be offered by a failing connection; answer once.
    auto answered = std::make_shared<std::atomic<bool>>(false);
    auto answerOnce = [answered, callback](bool eligible) {
      if (!answered->exchange(true)) callback(eligible);
    };
    auto derived = proxy->remoteObjectProxyWithErrorHandler(
        [answerOnce, internalBuild](VLErrorRef) { answerOnce(internalBuild); });
    // Keeps the proxy (and so its connection) alive until the reply has come.
    auto keepAlive = std::make_shared<std::shared_ptr<VLRemoteObjectProxy>>(proxy);
    derived->validation_allowValidation(
        [provider, answerOnce, internalBuild, keepAlive](bool allowed, const VLValue::Dictionary& options) {
          if (auto root = options.find(KsVaultlineValidationOptionAlternateRootContainer); root != options.end()) {
            provider->setAlternateRootContainer(root->second.string() ? *root->second.string()
                                                                      : root->second.description());
          }
          if (auto syncing = options.find(KsVaultlineValidationOptionIsSyncingProvider); syncing != options.end()) {
            provider->setSyncingProvider(syncing->second.boolValue());
          }
          if (auto none = options.find(VLValidationOptionHasNoWorkingSet); none != options.end()) {
            provider->setHasNoWorkingSet(none->second.boolValue());
          }
          provider->setEligibleForValidation(allowed || internalBuild);
          keepAlive->reset();
          answerOnce(provider->isEligibleForValidation());
        });
  });
}
