#include "Vaultline/KsVaultlineValidationServiceV1.h"

const std::string KsVaultlineValidationServiceV1Name = "com.kestrel.Vaultline.ValidationV1";
const std::string KsVaultlineValidationServiceV1ProtocolName = "KsVaultlineValidationServiceV1";
const std::string KsVaultlineValidationOptionAlternateRootContainer = "AlternateRootContainer";
const std::string KsVaultlineValidationOptionIsSyncingProvider = "IsSyncingProvider";
const std::string VLValidationOptionHasNoWorkingSet = "HasNoWorkingSet";
