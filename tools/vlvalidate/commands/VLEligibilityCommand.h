// VLEligibilityCommand: `vlvalidate eligibility`: asks the provider's validation service
// whether it may be validated and how it wants to be treated, and prints the four
// validation properties and the verdict. Exits 0 when eligible, 3 when not.
#pragma once

#include <memory>
#include <string>

#include "vlvalidate/VLCommand.h"

// Whose eligibility `vlvalidate eligibility` asks for.
struct VLEligibilityOptions {
  std::string provider = "sim";  // --provider: the provider to ask, as VLProviderChoice reads it
};

class VLEligibilityCommand : public VLCommand {
 public:
  explicit VLEligibilityCommand(VLEligibilityOptions options = {});

  void addOptions(CLI::App& command, VLOutputOptions& output) override;
  // Prints the properties and the verdict; returns VLExitPassed or VLExitNotEligible.
  int execute(const std::shared_ptr<VLTerminal>& terminal) override;

 private:
  VLEligibilityOptions options_;
};
