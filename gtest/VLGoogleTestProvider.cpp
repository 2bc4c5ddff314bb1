#include "vlgtest/VLGoogleTestProvider.h"

#include "Choice/VLProviderUnavailable.h"
#include "CaseRun/VLCaseRunner.h"
#include "vlvalidate/VLEligibility.h"
#include "vlvalidate/VLProviderProperties.h"

VLGoogleTestProvider::VLGoogleTestProvider(std::string label, VLGoogleTestOptions options,
                                           std::shared_ptr<VLPlatform> platform, std::shared_ptr<VLProvider> provider)
    : label_(std::move(label)),
      options_(std::move(options)),
      platform_(std::move(platform)),
      provider_(std::move(provider)),
      catalog_(VLCaseCatalog::of(provider_)),
      selected_(catalog_.select(options_.filter, std::nullopt)) {}

std::shared_ptr<VLGoogleTestProvider> VLGoogleTestProvider::make(std::string label,
                                                                 std::shared_ptr<VLPlatform> platform,
                                                                 std::shared_ptr<VLProvider> provider,
                                                                 const VLGoogleTestOptions& options) {
  if (!platform || !provider) throw VLException("VLRegisterGoogleTests: no platform or no provider given");
  VLPlatform::install(platform);
  return std::shared_ptr<VLGoogleTestProvider>(
      new VLGoogleTestProvider(std::move(label), options, std::move(platform), std::move(provider)));
}

std::shared_ptr<VLGoogleTestProvider> VLGoogleTestProvider::unavailable(std::string label, std::string reason,
                                                                        const VLGoogleTestOptions& options) {
  std::shared_ptr<VLGoogleTestProvider> result(new VLGoogleTestProvider(std::move(label), options, nullptr, nullptr));
  std::call_once(result->decided_, [&] { result->blocker_ = std::move(reason); });
  return result;
}

std::optional<std::string> VLGoogleTestProvider::blocker() {
  std::call_once(decided_, [this] {
    try {
      if (VLEligibility::decide(provider_) || options_.ignoreEligibility) return;
      blocker_ = "Provider " + label_ + " is not eligible for validation:\n" +
                 VLProviderProperties::of(*provider_).lines() +
                 "Its validation service refused validation or could not be reached "
                 "(VLGoogleTestOptions::ignoreEligibility runs the cases anyway).";
    } catch (const VLProviderUnavailable& error) {
      blocker_ = "Provider " + label_ + " could not be reached: " + error.what();
    }
  });
  return blocker_;
}

VLGoogleTestVerdict VLGoogleTestProvider::run(size_t index) const {
  VLCaseRunOptions options;
  options.strict = options_.strict;
  options.defaultTimeout = options_.timeout;
  options.recordTrace = false;
  const auto outcome = VLCaseRunner::run(VLCaseRunner::freshCopy(*catalog_.cases().at(index)), options);
  return VLGoogleTestVerdict::of(outcome.result, VLAttemptRecord::of(outcome).expectations);
}
