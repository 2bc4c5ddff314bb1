// VLEligibility: asks a provider's validation service whether it may be validated and
// waits for the answer, which also sets the provider's four validation properties. Every
// command that validates asks this first.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Vaultline/VLProvider.h"
#include "Vaultline/VLProviderFacts.h"

class VLEligibility {
 public:
  // How long a provider may take to answer, in seconds.
  static constexpr double kTimeout = 30;

  // Asks the validation service of `provider` (whose platform must be installed) and waits
  // at most `seconds`. Returns whether it is eligible; throws VLProviderUnavailable when no
  // answer comes in time.
  static bool decide(const std::shared_ptr<VLProvider>& provider, double seconds = kTimeout);
  // As decide(), and returns beside the answer the protocol faults `facts` reported while it
  // was asked: why a provider whose answers were invalid could not be asked at all.
  static std::pair<bool, std::vector<std::string>> decideNamingFaults(const std::shared_ptr<VLProvider>& provider,
                                                                      VLProviderFacts& facts,
                                                                      double seconds = kTimeout);
};
