// Well-known identifiers, error domains and codes of the Vaultline service. The string
// constants are never destroyed, so threads still at work while the process exits may read them.
#pragma once

#include <cstdint>
#include <string>

// The root container of a provider's tree.
extern const std::string& KsVaultlineRootContainerItemIdentifier;
// The working-set container: items with a tag, a favourite rank or a last-used date.
extern const std::string& KsVaultlineWorkingSetContainerItemIdentifier;
// The identifier of a provider's default domain.
extern const std::string& KsVaultlineDomainDefaultIdentifier;

// The service's error domain, and the user-info key under which a filename-collision error
// carries the existing item (a VLItem).
extern const std::string& KsVaultlineErrorDomain;
extern const std::string& KsVaultlineErrorItem;
enum : int64_t {
  VLVaultlineErrorFilenameCollision = -1001,
  VLVaultlineErrorServerUnreachable = -1004,
  VLVaultlineErrorNoSuchItem = -1005,
  VLVaultlineErrorNotSupported = -1006,
};

// The domain of the errors the library makes itself when a feature is missing.
extern const std::string& KsTarragonErrorDomain;
enum : int64_t { VLTarragonErrorFeatureUnsupported = 3328 };

// The domain of file-system errors; the code is the errno value.
extern const std::string& VLPOSIXErrorDomain;

// Thumbnail format identifiers that the library tells apart.
extern const std::string& VLThumbnailFormatCachedIconBitmap;
extern const std::string& VLThumbnailFormatUndecorated;

// Item capability bits. The library tests only VLItemCapabilityAllowsAddingSubItems.
enum : uint64_t {
  VLItemCapabilityAllowsReading = 1 << 0,
  VLItemCapabilityAllowsAddingSubItems = 1 << 1,
  VLItemCapabilityAllowsContentEnumerating = 1 << 2,
  VLItemCapabilityAllowsWriting = 1 << 3,
  VLItemCapabilityAllowsReparenting = 1 << 4,
  VLItemCapabilityAllowsRenaming = 1 << 5,
  VLItemCapabilityAllowsTrashing = 1 << 6,
  VLItemCapabilityAllowsDeleting = 1 << 7,
};
