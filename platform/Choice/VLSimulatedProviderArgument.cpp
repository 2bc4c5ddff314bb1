#include "Choice/VLSimulatedProviderArgument.h"

#include "Simulated/Simulated.h"

std::shared_ptr<const VLProviderArgument> VLSimulatedProviderArgument::parse(const std::string& settings) {
  return std::shared_ptr<const VLProviderArgument>(
      new VLSimulatedProviderArgument(settings, VLSimulatedSettings::parse(settings)));
}

VLInstalledProvider VLSimulatedProviderArgument::install(const VLProviderInstallOptions&) const {
  auto service = VLSimulatedProviderService::make(settings_);
  service->install();
  return {service, service->provider()};
}

std::shared_ptr<const VLProviderArgument> VLSimulatedProviderArgument::withSettings(const std::string& more) const {
  return parse(text_ + (text_.empty() ? "" : ",") + more);
}
