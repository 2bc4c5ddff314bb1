#include "Choice/VLProviderChoice.h"

#include "Core/VLText.h"

VLProviderChoice::VLProviderChoice(std::string text, const VLProviderKind& kind, std::string argument)
    : text_(std::move(text)), kind_(&kind), argument_(std::move(argument)) {}

VLProviderChoice VLProviderChoice::parse(const std::string& text) {
  const size_t colon = text.find(':');
  const std::string prefix = text.substr(0, colon);
  const VLProviderKind* kind = VLProviderKind::find(prefix);
  if (!kind) {
    throw VLUsageError("--provider " + text + ": unknown provider kind '" + prefix + "'; kinds:\n" + kindsHelp());
  }
  std::string argument = colon == std::string::npos ? "" : text.substr(colon + 1);
  try {
    kind->parse(argument);
  } catch (const VLException& error) {
    throw VLUsageError("--provider " + text + ": " + error.what());
  }
  return VLProviderChoice(text, *kind, std::move(argument));
}

VLInstalledProvider VLProviderChoice::install(const VLProviderInstallOptions& options) const {
  if (!options.protocolLog.empty() && !kind_->speaksProtocol) {
    throw VLUsageError("--protocol-log records the provider protocol; --provider " + text_ + " does not speak it");
  }
  try {
    return kind_->install(argument_, options);
  } catch (const VLProviderUnavailable&) {
    throw;
  } catch (const VLUsageError&) {
    throw;
  } catch (const VLException& error) {
    throw VLProviderUnavailable("--provider " + text_ + ": " + error.what());
  }
}

VLProviderChoice VLProviderChoice::withSettings(const std::string& settings) const {
  if (settings.empty()) return *this;
  if (takesSettings()) return parse(kind_->prefix + ":" + kind_->addSettings(argument_, settings));
  std::vector<std::string> others;
  for (const auto& kind : VLProviderKind::all()) {
    if (kind.addSettings) others.push_back(kind.help.front().usage);
  }
  throw VLUsageError("--provider " + text_ + ": a provider of kind " + kind_->prefix +
                     " runs with the settings it was started with; use " + vl_join(others, " or ") +
                     " to give it settings");
}
