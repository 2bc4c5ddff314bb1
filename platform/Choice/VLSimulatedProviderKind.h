// VLSimulatedProviderKind: the provider kind "sim" and "sim:SETTINGS": the built-in simulated
// reference provider, in this process, with the quirks and settings VLSimulatedSettings reads.
#pragma once

#include <string>

#include "Choice/VLInstalledProvider.h"
#include "Choice/VLProviderInstallOptions.h"

class VLSimulatedProviderKind {
 public:
  // Checks `settings` ("" for none). Throws VLException naming a bad name or value and
  // listing the valid ones.
  static void parse(const std::string& settings);
  // Makes a simulated provider service with `settings` and installs it.
  static VLInstalledProvider install(const std::string& settings, const VLProviderInstallOptions& options);
  // Returns `settings` followed by `more`, comma-separated.
  static std::string addSettings(const std::string& settings, const std::string& more);
};
