// VLSimulatedErrors: the errors the simulated provider reports, made in one place so that
// every action words them alike. Stateless.
#pragma once

#include <cerrno>
#include <string>

#include "Core/VLError.h"
#include "Vaultline/VLConstants.h"

struct VLSimulatedErrors {
  // The item named by `what` is not (or no longer) part of the provider.
  static VLErrorRef noSuchItem(const std::string& what) {
    return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                        "The item \"" + what + "\" doesn't exist.");
  }
  // The provider cannot do what was asked (for the reason in `text`).
  static VLErrorRef notSupported(const std::string& text) {
    return VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported, text);
  }
  // The caller's arguments make no sense (for the reason in `text`).
  static VLErrorRef invalidArgument(const std::string& text) {
    return VLError::makeWithDescription(VLPOSIXErrorDomain, EINVAL, text);
  }
};
