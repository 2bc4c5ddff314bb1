#include "vlvalidate/VLProviderProperties.h"

namespace {

std::string yesNo(bool value) { return value ? "yes" : "no"; }

}  // namespace

VLProviderProperties VLProviderProperties::of(const VLProvider& provider) {
  return {provider.alternateRootContainer(), provider.isSyncingProvider(), provider.hasNoWorkingSet(),
          provider.isEligibleForValidation()};
}

std::string VLProviderProperties::lines() const {
  return "  alternateRootContainer  " + alternateRootContainer + "\n" +  //
         "  syncingProvider         " + yesNo(syncingProvider) + "\n" +  //
         "  hasNoWorkingSet         " + yesNo(hasNoWorkingSet) + "\n" +  //
         "  eligibleForValidation   " + yesNo(eligibleForValidation) + "\n";
}
