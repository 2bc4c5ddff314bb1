// VLSimulatedProviderArgument: the argument of the provider kind "sim" and "sim:SETTINGS":
// the built-in simulated reference provider, in this process, with the quirks and settings
// VLSimulatedSettings reads, parsed once.
#pragma once

#include <memory>
#include <string>

#include "Choice/VLProviderArgument.h"
#include "Simulated/VLSimulatedSettings.h"

class VLSimulatedProviderArgument : public VLProviderArgument {
 public:
  // Parses `settings` ("" for none). Throws VLException naming a bad name or value and
  // listing the valid ones.
  static std::shared_ptr<const VLProviderArgument> parse(const std::string& settings);

  // Returns the settings as written, comma-separated.
  std::string text() const override { return text_; }
  // Makes a simulated provider service with these settings and installs it.
  VLInstalledProvider install(const VLProviderInstallOptions& options) const override;
  // Returns these settings followed by `more`.
  std::shared_ptr<const VLProviderArgument> withSettings(const std::string& more) const override;

  // Returns the settings as parsed.
  const VLSimulatedSettings& settings() const { return settings_; }

 private:
  VLSimulatedProviderArgument(std::string text, VLSimulatedSettings settings)
      : text_(std::move(text)), settings_(std::move(settings)) {}

  const std::string text_;
  const VLSimulatedSettings settings_;
};
