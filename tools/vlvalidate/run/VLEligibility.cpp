#include "vlvalidate/VLEligibility.h"

#include <atomic>

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
