#include "vlgtest/VLGoogleTestProvider.h"

#include "Choice/VLProviderUnavailable.h"
#include "vlvalidate/VLEligibility.h"
#include "vlvalidate/VLProviderProperties.h"
#include "vlvalidate/VLRunPipeline.h"

VLGoogleTestProvider::VLGoogleTestProvider(std::string label, VLGoogleTestOptions options,
                                           std::shared_ptr<VLPlatform> platform, std::shared_ptr<VLProvider> provider)
    : label_(std::move(label)),
      options_(std::move(options)),
      platform_(std::move(platform)),
      provider_(std::move(provider)),
      catalog_(std::make_shared<VLCaseCatalog>(VLCaseCatalog::of(provider_))),
      selected_(catalog_->select(options_.filter, std::nullopt)) {}

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
      const auto eligibility = VLEligibility::ask(*platform_, provider_);
      if (eligibility.eligible || options_.ignoreEligibility) return;
      blocker_ = "Provider " + label_ + " is not eligible for validation:\n" + eligibility.properties.lines() +
                 eligibility.reason() + (eligibility.faults.empty() ? " " : "") +
                 "VLGoogleTestOptions::ignoreEligibility runs the cases anyway.";
    } catch (const VLProviderUnavailable& error) {
      blocker_ = "Provider " + label_ + " could not be reached: " + error.what();
    }
  });
  return blocker_;
}

VLGoogleTestVerdict VLGoogleTestProvider::run(size_t index) const {
  VLRunPlan plan;
  plan.catalog = catalog_;
  plan.runs = {{.caseIndex = index}};
  plan.info.options.filter = options_.filter;
  plan.info.options.strict = options_.strict;
  plan.info.options.timeout = options_.timeout;
  auto pipeline = VLRunPipeline::make(std::move(plan), {});
  pipeline->start();
  const auto outcome = pipeline->wait();
  const VLAttemptRecord& attempt = outcome.records.at(0).attempts.back();
  return VLGoogleTestVerdict::of(attempt.verdict, attempt.expectations);
}
