// VLDescribeCommand: `vlvalidate describe ID…`: what a validation checks and why, from its
// documentation, wrapped for the terminal. An ID is a short ID ("VLContainerValidation.
// ItemCount/Folder"), a validation without its variant ("VLContainerValidation.ItemCount"),
// a unit-test runner name, or a filter pattern; each validation is described once, with the
// variants it runs in.
#pragma once

#include <memory>
#include <string>
#include <vector>

class VLTerminal;

struct VLDescribeOptions {
  std::string provider = "sim";
  std::vector<std::string> ids;
};

class VLDescribeCommand {
 public:
  VLDescribeCommand(VLDescribeOptions options, std::shared_ptr<VLTerminal> terminal);
  // Prints the descriptions and returns 0. Throws VLUsageError naming every ID that matches
  // no case.
  int execute();

  // Returns `text` with each paragraph wrapped at `width` columns and indented by `indent`.
  static std::string wrap(const std::string& text, size_t width, const std::string& indent);

 private:
  VLDescribeOptions options_;
  std::shared_ptr<VLTerminal> terminal_;
};
