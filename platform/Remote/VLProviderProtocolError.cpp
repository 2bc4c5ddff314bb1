#include "Remote/VLProviderProtocolError.h"

#include "Core/VLFormat.h"
#include "Vaultline/VLConstants.h"

const std::string& VLProviderProtocolErrorDomain = *new std::string("VLProviderProtocolErrorDomain");

VLErrorRef vl_providerProtocolError(int64_t code, const std::string& text) {
  return VLError::makeWithDescription(VLProviderProtocolErrorDomain, code, text);
}

VLErrorRef vl_noSuchItemError(const std::string& what) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                      VLFormat("The item %@ doesn't exist.", what));
}

VLErrorRef vl_notSupportedError(const std::string& text) {
  return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported, text);
}
