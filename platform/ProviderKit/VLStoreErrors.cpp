#include "ProviderKit/VLStoreErrors.h"

#include "Vaultline/VLConstants.h"

VLErrorRef VLStoreErrors::noSuchItem(const std::string& identifier) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                      "The item \"" + identifier + "\" doesn't exist.");
}

VLErrorRef VLStoreErrors::collision(const VLItemRef& existing) {
  VLValue::Dictionary info{
      {VLLocalizedDescriptionKey, "An item named \"" + existing->filename() + "\" already exists in this location."},
      {KsVaultlineErrorItem, VLValue(existing)}};
  return VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorFilenameCollision, std::move(info));
}

VLErrorRef VLStoreErrors::notSupported(const std::string& description) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported, description);
}

VLErrorRef VLStoreErrors::posix(int code, const std::string& description) {
  return VLError::makeWithDescription(VLPOSIXErrorDomain, code, description);
}
