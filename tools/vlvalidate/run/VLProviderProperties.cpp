#include "vlvalidate/VLProviderProperties.h"

namespace {

std::string yesNo(bool value) { return value ? "yes" : "no"; }

}  // namespace

VLProviderProperties VLProviderProperties::of(const VLProvider& provider) {
  return {provider.alternateRootContainer(), provider.isSyncingProvider(), provider.hasNoWorkingSet(),
          provider.isEligibleForValidation()};
}

std::string VLProviderProperties::lines() const {
  // Defaults the provider never stated are not shown as if it had.
  if (!known) {
    return "  alternateRootContainer  unknown\n"
           "  syncingProvider         unknown\n"
           "  hasNoWorkingSet         unknown\n"
           "  eligibleForValidation   unknown\n";
  }
  return "  alternateRootContainer  " + alternateRootContainer + "\n" +  //
         "  syncingProvider         " + yesNo(syncingProvider) + "\n" +  //
         "  hasNoWorkingSet         " + yesNo(hasNoWorkingSet) + "\n" +  //
         "  eligibleForValidation   " + yesNo(eligibleForValidation) + "\n";
}
