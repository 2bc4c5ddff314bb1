// VLEligibility: asks a provider's validation service whether it may be validated and
// waits for the answer, which also sets the provider's four validation properties. Every
// front end that validates asks this first, through ask(), and words a refusal with its
// reason().
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"
#include "Vaultline/VLProviderFacts.h"
#include "vlvalidate/VLProviderProperties.h"

class VLEligibility {
 public:
  // How long a provider may take to answer, in seconds.
  static constexpr double kTimeout = 30;

  // What asking left.
  struct Verdict {
    bool eligible = false;
    // As the answer left them; not `known` when protocol faults kept the service from answering.
    VLProviderProperties properties;
    std::vector<std::string> faults;  // the protocol faults reported while it was asked

    // Why the provider is not eligible: one sentence, or for protocol faults a sentence
    // and one indented line per fault, each line ending in a line break.
    std::string reason() const;
  };

  // Asks the validation service of `provider`, played by the installed `platform`, and
  // waits at most `seconds`. Throws VLProviderUnavailable when no answer comes in time.
  static Verdict ask(VLPlatform& platform, const std::shared_ptr<VLProvider>& provider, double seconds = kTimeout);

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
