#include "Vaultline/KsVaultlineValidationServiceV1.h"

const std::string& KsVaultlineValidationServiceV1Name = *new std::string("com.kestrel.Vaultline.ValidationV1");
const std::string& KsVaultlineValidationServiceV1ProtocolName = *new std::string("KsVaultlineValidationServiceV1");
const std::string& KsVaultlineValidationOptionAlternateRootContainer = *new std::string("AlternateRootContainer");
const std::string& KsVaultlineValidationOptionIsSyncingProvider = *new std::string("IsSyncingProvider");
const std::string& VLValidationOptionHasNoWorkingSet = *new std::string("HasNoWorkingSet");
