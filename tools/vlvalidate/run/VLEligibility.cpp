#include "vlvalidate/VLEligibility.h"

#include <atomic>
#include <mutex>
#include <tuple>

#include "Choice/VLProviderUnavailable.h"
#include "Core/VLFormat.h"
#include "Dispatch/VLSemaphore.h"
#include "Validations/VLValidationEligibility.h"

bool VLEligibility::decide(const std::shared_ptr<VLProvider>& provider, double seconds) {
  struct Answer {
    std::shared_ptr<VLSemaphore> done = VLSemaphore::make(0);
    std::atomic<bool> eligible{false};
  };
  auto answer = std::make_shared<Answer>();  // shared: a late answer must not outlive a local
  determineValidationEligibility(provider, [answer](bool eligible) {
    answer->eligible = eligible;
    answer->done->signal();
  });
  if (!answer->done->wait(seconds)) {
    throw VLProviderUnavailable("the provider did not answer the eligibility question within " +
                                VLFormat("%g", seconds) + " s");
  }
  return answer->eligible;
}

VLEligibility::Verdict VLEligibility::ask(VLPlatform& platform, const std::shared_ptr<VLProvider>& provider,
                                          double seconds) {
  Verdict verdict;
  std::tie(verdict.eligible, verdict.faults) = decideNamingFaults(provider, *platform.providerFacts(), seconds);
  verdict.properties = VLProviderProperties::of(*provider);
  verdict.properties.known = verdict.eligible || verdict.faults.empty();
  return verdict;
}

std::string VLEligibility::Verdict::reason() const {
  // An invalid answer on the way to the validation service is the cause, not a refusal.
  if (faults.empty()) return "Its validation service refused validation or could not be reached.";
  std::string text = "Its answers broke the provider protocol, so its validation service could not be asked:\n";
  for (const auto& fault : faults) text += "  " + fault + "\n";
  return text;
}

std::pair<bool, std::vector<std::string>> VLEligibility::decideNamingFaults(const std::shared_ptr<VLProvider>& provider,
                                                                           VLProviderFacts& facts, double seconds) {
  auto faults = std::make_shared<std::pair<std::mutex, std::vector<std::string>>>();
  auto subscription = facts.subscribe([faults](const VLProviderFact& fact) {
    if (fact.kind != VLProviderFact::Kind::ProtocolFault) return;
    std::lock_guard lock(faults->first);
    faults->second.push_back(fact.text);
  });
  const bool eligible = decide(provider, seconds);
  subscription.reset();
  std::lock_guard lock(faults->first);
  return {eligible, faults->second};
}
