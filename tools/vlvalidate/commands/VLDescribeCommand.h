// VLDescribeCommand: `vlvalidate describe ID…`: what a validation checks and why, from its
// documentation, wrapped for the terminal. An ID is a short ID ("VLContainerValidation.
// ItemCount/Folder"), a validation without its variant ("VLContainerValidation.ItemCount"),
// a unit-test runner name, or a filter pattern; each validation is described once, with the
// variants it runs in.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vlvalidate/VLCommand.h"

// What `vlvalidate describe` describes.
struct VLDescribeOptions {
  std::string provider = "sim";  // --provider: whose cases, as VLProviderChoice reads it
  std::vector<std::string> ids;  // the IDs given: short IDs, Suite.BaseName, unit-test names or patterns
};

class VLDescribeCommand : public VLCommand {
 public:
  explicit VLDescribeCommand(VLDescribeOptions options = {});

  void addOptions(CLI::App& command, VLOutputOptions& output) override;
  // Prints the descriptions and returns VLExitPassed. Throws VLUsageError naming every ID
  // that matches no case.
  int execute(const std::shared_ptr<VLTerminal>& terminal) override;

  // Returns `text` with each paragraph wrapped at `width` columns and indented by `indent`.
  static std::string wrap(const std::string& text, size_t width, const std::string& indent);

 private:
  VLDescribeOptions options_;
};
