#include "Validations/Implementation/VLValidationServiceAccess.h"

#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "Vaultline/VLFileManager.h"
#include "Vaultline/VLItemManager.h"
#include "Vaultline/VLVaultlineService.h"

void vl_reachValidationService(const VLItemRef& item, VLValidationServiceReply reply) {
  VLItemManager::defaultManager()->fetchURLForItem(item, [reply](std::optional<VLURL> url, VLErrorRef error) {
    if (!url || error) {
      reply(nullptr, error, VLValidationServiceFailure::URL);
      return;
    }
    VLFileManager::defaultManager().getVaultlineServicesForItemAtURL(
        *url, [reply](const VLVaultlineServices& services, VLErrorRef error) {
          if (error) {
            reply(nullptr, error, VLValidationServiceFailure::Services);
            return;
          }
          auto found = services.find(KsVaultlineValidationServiceV1Name);
          if (found == services.end() || !found->second) {
            reply(nullptr, nullptr, VLValidationServiceFailure::MissingService);
            return;
          }
          found->second->getVaultlineConnectionWithCompletionHandler(
              [reply](std::shared_ptr<VLServiceConnection> connection, VLErrorRef error) {
                if (!connection || error) {
                  reply(nullptr, error, VLValidationServiceFailure::Connection);
                  return;
                }
                connection->setRemoteObjectInterface(KsVaultlineValidationServiceV1ProtocolName);
                connection->resume();
                reply(connection->remoteObjectProxy(), nullptr, VLValidationServiceFailure::None);
              });
        });
  });
}
