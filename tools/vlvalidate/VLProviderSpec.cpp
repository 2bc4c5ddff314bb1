#include "vlvalidate/VLProviderSpec.h"

#include "Dispatch/VLSemaphore.h"
#include "Simulated/Simulated.h"
#include "Validations/VLValidationEligibility.h"
#include "vlvalidate/VLUsageError.h"

namespace {}  // namespace

bool VLInstalledProvider::decideEligibility(double seconds) const {
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

VLProviderSpec VLProviderSpec::parse(const std::string& text) {
  VLProviderSpec spec;
  spec.text_ = text;
  const size_t colon = text.find(':');
  const std::string kind = text.substr(0, colon);
  spec.argument_ = colon == std::string::npos ? "" : text.substr(colon + 1);
  if (kind == "sim") {
    spec.kind_ = Kind::Simulated;
    try {
      VLSimulatedSettings::parse(spec.argument_);
    } catch (const VLException& error) {
      throw VLUsageError("--provider " + text + ": " + error.what());
    }
    return spec;
  }
  if (kind == "exec" || kind == "unix") {
    // These come with the protocol platform; until it is linked in, say so plainly.
    throw VLUsageError("--provider " + text + ": providers of kind '" + kind +
                       "' are not available in this build of vlvalidate; available: sim, sim:SETTINGS");
  }
  throw VLUsageError("--provider " + text + ": unknown provider kind '" + kind + "'; kinds:\n" + kindsHelp());
}

VLInstalledProvider VLProviderSpec::install() const {
  try {
    switch (kind_) {
      case Kind::Simulated: {
        auto service = VLSimulatedProviderService::make(argument_);
        service->install();
        return {service, service->provider()};
      }
      case Kind::Exec:
      case Kind::Unix: break;
    }
  } catch (const VLProviderUnavailable&) {
    throw;
  } catch (const VLException& error) {
    throw VLProviderUnavailable("--provider " + text_ + ": " + error.what());
  }
  throw VLProviderUnavailable("--provider " + text_ + ": this kind of provider is not available in this build");
}

std::string VLProviderSpec::kindsHelp() {
  return "  sim            the built-in simulated reference provider\n"
         "  sim:SETTINGS   the same with comma-separated quirks and name=value settings, e.g.\n"
         "                 sim:case-sensitive-names,upload-latency=200ms (a bad name lists the valid ones)\n"
         "  exec:COMMAND   (not in this build) a provider started as a child process\n"
         "  unix:PATH      (not in this build) a provider listening on a Unix socket\n";
}
