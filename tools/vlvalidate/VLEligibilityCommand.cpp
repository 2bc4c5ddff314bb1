#include "vlvalidate/VLEligibilityCommand.h"

#include "vlvalidate/VLProviderChoice.h"
#include "vlvalidate/VLRunInfo.h"
#include "vlvalidate/VLTerminal.h"

VLEligibilityCommand::VLEligibilityCommand(std::string provider, std::shared_ptr<VLTerminal> terminal)
    : provider_(std::move(provider)), terminal_(std::move(terminal)) {}

int VLEligibilityCommand::execute() {
  const auto choice = VLProviderChoice::parse(provider_);
  const auto installed = choice.install();
  const bool eligible = installed.decideEligibility();
  const auto properties = VLProviderProperties::of(*installed.provider);
  std::string text = "Provider " + VLTerminal::printable(installed.provider->identifier()) + " (" +
                     VLTerminal::printable(choice.text()) + "), validation properties:\n" +
                     VLTerminal::printable(properties.lines());
  text += eligible ? terminal_->paint("Eligible", "1;32") + " for validation.\n"
                   : terminal_->paint("Not eligible", "1;31") +
                         " for validation: its validation service refused or could not be reached.\n";
  terminal_->print(text);
  return eligible ? VLExitPassed : VLExitNotEligible;
}
