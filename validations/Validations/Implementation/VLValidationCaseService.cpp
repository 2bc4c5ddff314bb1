// Reaching the provider's validation service from a case, through one of its items.
#include "Validations/Implementation/VLValidationServiceAccess.h"
#include "Validations/VLValidationCase.h"
#include "Vaultline/VLConstants.h"

void VLValidationCase::fetchValidationHelperForItem(const VLItemRef& item, HelperCompletion completion) {
  if (!item) throw VLException("fetchValidationHelperForItem: no item given");
  if (!completion) throw VLException("fetchValidationHelperForItem: no completion given");
  vl_reachValidationService(item, [completion](std::shared_ptr<VLRemoteObjectProxy> proxy, VLErrorRef error,
                                               VLValidationServiceFailure failure) {
    if (failure == VLValidationServiceFailure::MissingService) {
      completion(nullptr, VLError::make(KsTarragonErrorDomain, VLTarragonErrorFeatureUnsupported));
      return;
    }
    completion(failure == VLValidationServiceFailure::None ? proxy : nullptr, error);
  });
}
