#include "Choice/VLProviderChoice.h"

#include "Core/VLText.h"

namespace {

std::string writtenChoice(const VLProviderKind& kind, const VLProviderArgument& argument) {
  const std::string text = argument.text();
  return text.empty() ? kind.prefix : kind.prefix + ":" + text;
}

}  // namespace

VLProviderChoice::VLProviderChoice(std::string text, const VLProviderKind& kind,
                                   std::shared_ptr<const VLProviderArgument> argument)
    : text_(std::move(text)), kind_(&kind), argument_(std::move(argument)) {}

// text_ is made first (members are made in their order), before the argument moves.
VLProviderChoice::VLProviderChoice(const VLProviderKind& kind, std::shared_ptr<const VLProviderArgument> argument)
    : text_(writtenChoice(kind, *argument)), kind_(&kind), argument_(std::move(argument)) {}

VLProviderChoice VLProviderChoice::parse(const std::string& text) {
  const size_t colon = text.find(':');
  const std::string prefix = text.substr(0, colon);
  const VLProviderKind* kind = VLProviderKind::find(prefix);
  if (!kind) {
    throw VLUsageError("--provider " + text + ": unknown provider kind '" + prefix + "'; kinds:\n" + kindsHelp());
  }
  try {
    return VLProviderChoice(text, *kind, kind->parse(colon == std::string::npos ? "" : text.substr(colon + 1)));
  } catch (const VLException& error) {
    throw VLUsageError("--provider " + text + ": " + error.what());
  }
}

VLInstalledProvider VLProviderChoice::install(const VLProviderInstallOptions& options) const {
  if (!options.protocolLog.empty() && !kind_->speaksProtocol) {
    throw VLUsageError("--protocol-log records the provider protocol; --provider " + text_ + " does not speak it");
  }
  try {
    return argument_->install(options);
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
  std::shared_ptr<const VLProviderArgument> argument;
  try {
    argument = argument_->withSettings(settings);
  } catch (const VLException& error) {
    throw VLUsageError("--provider " + text_ + " with " + settings + ": " + error.what());
  }
  if (argument) return VLProviderChoice(*kind_, std::move(argument));
  std::vector<std::string> others;
  for (const auto& kind : VLProviderKind::all()) {
    if (kind.takesSettings) others.push_back(kind.help.front().usage);
  }
  throw VLUsageError("--provider " + text_ + ": a provider of kind " + kind_->prefix +
                     " runs with the settings it was started with; use " + vl_join(others, " or ") +
                     " to give it settings");
}

bool VLProviderChoice::operator==(const VLProviderChoice& other) const {
  return kind_ == other.kind_ && (argument_ == other.argument_ || argument_->text() == other.argument_->text());
}
