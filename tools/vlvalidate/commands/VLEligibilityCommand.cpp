#include "vlvalidate/VLEligibilityCommand.h"

#include "Choice/VLProviderChoice.h"
#include "vlvalidate/VLEligibility.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLProviderProperties.h"
#include "vlvalidate/VLTerminal.h"

VLEligibilityCommand::VLEligibilityCommand(VLEligibilityOptions options) : options_(std::move(options)) {}

void VLEligibilityCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  addProviderOption(command, options_.provider);
  output.addTo(command, false);
}

int VLEligibilityCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  const auto choice = VLProviderChoice::parse(options_.provider);
  const auto installed = choice.install();
  const auto eligibility = VLEligibility::ask(*installed.platform, installed.provider);
  std::string text = "Provider " + VLTerminal::printable(installed.provider->identifier()) + " (" +
                     VLTerminal::printable(choice.text()) + "), validation properties:\n" +
                     VLTerminal::printable(eligibility.properties.lines());
  text += eligibility.eligible ? terminal->paint("Eligible", "1;32") + " for validation.\n"
                               : terminal->paint("Not eligible", "1;31") + " for validation. " +
                                     VLTerminal::printable(eligibility.reason()) +
                                     (eligibility.faults.empty() ? "\n" : "");
  terminal->print(text);
  return eligibility.eligible ? VLExitPassed : VLExitNotEligible;
}
