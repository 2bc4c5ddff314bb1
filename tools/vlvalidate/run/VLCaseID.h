// Stable short IDs of validation cases, as the runner shows them and reports use them:
// "Suite.BaseName" for a case without variants, "Suite.BaseName/Variant" for one with,
// e.g. "VLContainerValidation.ItemCount/Folder", "VLPlaceholderValidation.PlaceholderIsWritten".
#pragma once

#include <string>

#include "Validations/VLValidationCase.h"

// Returns the short ID of `validationCase`.
std::string vl_caseShortID(const VLValidationCase& validationCase);
// Returns the suite class name of `validationCase` ("VLContainerValidation").
std::string vl_caseSuiteName(const VLValidationCase& validationCase);
// Returns the validation's base name: the selector without "validate", cut before its first
// ":" ("ItemCount").
std::string vl_caseBaseName(const VLValidationCase& validationCase);
// Returns the variant's pretty name ("Folder"), or "" for a case without variants.
std::string vl_caseVariantName(const VLValidationCase& validationCase);
