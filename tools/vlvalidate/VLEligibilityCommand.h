// VLEligibilityCommand: `vlvalidate eligibility`: asks the provider's validation service
// whether it may be validated and how it wants to be treated, and prints the four
// validation properties and the verdict. Exits 0 when eligible, 3 when not.
#pragma once

#include <memory>
#include <string>

class VLTerminal;

class VLEligibilityCommand {
 public:
  VLEligibilityCommand(std::string provider, std::shared_ptr<VLTerminal> terminal);
  // Prints the properties and the verdict; returns VLExitPassed or VLExitNotEligible.
  int execute();

 private:
  std::string provider_;
  std::shared_ptr<VLTerminal> terminal_;
};
