#include "VLStandardSuites.h"

#include <mutex>

#include "VLAttributeValidation.h"
#include "VLContainerValidation.h"
#include "VLFileTypeValidation.h"
#include "VLPlaceholderValidation.h"
#include "VLTrashValidation.h"

void VLRegisterStandardSuites() {
  static std::once_flag once;
  std::call_once(once, [] {
    // An explicit list: a static library drops registrations made by static initialisers.
    VLValidationCase::registerSuiteClass<VLContainerValidation>(VLContainerValidation::operations());
    VLValidationCase::registerSuiteClass<VLFileTypeValidation>(VLFileTypeValidation::operations());
    VLValidationCase::registerSuiteClass<VLPlaceholderValidation>(VLPlaceholderValidation::operations());
    VLValidationCase::registerSuiteClass<VLAttributeValidation>(VLAttributeValidation::operations());
    VLValidationCase::registerSuiteClass<VLTrashValidation>(VLTrashValidation::operations());
  });
}
