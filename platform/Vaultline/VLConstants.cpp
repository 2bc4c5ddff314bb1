#include "Vaultline/VLConstants.h"

const std::string KsVaultlineRootContainerItemIdentifier = "KsVaultlineRootContainerItemIdentifier";
const std::string KsVaultlineWorkingSetContainerItemIdentifier = "KsVaultlineWorkingSetContainerItemIdentifier";
const std::string KsVaultlineDomainDefaultIdentifier = "KsVaultlineDomainDefaultIdentifier";
const std::string KsVaultlineErrorDomain = "KsVaultlineErrorDomain";
const std::string KsVaultlineErrorItem = "KsVaultlineErrorItem";
const std::string KsTarragonErrorDomain = "KsTarragonErrorDomain";
const std::string VLPOSIXErrorDomain = "VLPOSIXErrorDomain";
const std::string VLThumbnailFormatCachedIconBitmap = "com.kestrel.thumbnail.cached-icon-bitmap";
const std::string VLThumbnailFormatUndecorated = "com.kestrel.thumbnail.undecorated";
