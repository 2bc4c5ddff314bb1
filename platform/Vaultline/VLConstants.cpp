#include "Vaultline/VLConstants.h"

const std::string& KsVaultlineRootContainerItemIdentifier = *new std::string("KsVaultlineRootContainerItemIdentifier");
const std::string& KsVaultlineWorkingSetContainerItemIdentifier =
    *new std::string("KsVaultlineWorkingSetContainerItemIdentifier");
const std::string& KsVaultlineDomainDefaultIdentifier = *new std::string("KsVaultlineDomainDefaultIdentifier");
const std::string& KsVaultlineErrorDomain = *new std::string("KsVaultlineErrorDomain");
const std::string& KsVaultlineErrorItem = *new std::string("KsVaultlineErrorItem");
const std::string& KsTarragonErrorDomain = *new std::string("KsTarragonErrorDomain");
const std::string& VLPOSIXErrorDomain = *new std::string("VLPOSIXErrorDomain");
const std::string& VLThumbnailFormatCachedIconBitmap = *new std::string("com.kestrel.thumbnail.cached-icon-bitmap");
const std::string& VLThumbnailFormatUndecorated = *new std::string("com.kestrel.thumbnail.undecorated");
