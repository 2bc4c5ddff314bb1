#include "Choice/VLSimulatedProviderKind.h"

#include "Simulated/Simulated.h"

void VLSimulatedProviderKind::parse(const std::string& settings) { VLSimulatedSettings::parse(settings); }

VLInstalledProvider VLSimulatedProviderKind::install(const std::string& settings, const VLProviderInstallOptions&) {
  auto service = VLSimulatedProviderService::make(settings);
  service->install();
  return {service, service->provider()};
}

std::string VLSimulatedProviderKind::addSettings(const std::string& settings, const std::string& more) {
  return settings + (settings.empty() ? "" : ",") + more;
}
