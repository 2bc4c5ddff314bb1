// The standard validation suites: one call registers them all with the case registry.
#pragma once

// Registers every standard suite class (VLAttributeValidation, VLContainerValidation,
// VLFileTypeValidation, VLPlaceholderValidation, VLTrashValidation) with VLValidationCase.
// Runners and tests call it once before the first VLValidationCase::allValidations();
// calling it again, from any thread, does nothing more.
void VLRegisterStandardSuites();
