// VLListCommand: `vlvalidate list`: the cases of the provider with their short ID,
// category, display title and unit-test runner name, as a table or (--json) as a JSON
// document on standard output; --filter and --category narrow the list as they do a run.
#pragma once

#include <memory>
#include <optional>
#include <string>

class VLTerminal;

struct VLListOptions {
  std::string provider = "sim";
  std::string filter = "*";
  std::optional<std::string> category;
  bool json = false;
};

class VLListCommand {
 public:
  VLListCommand(VLListOptions options, std::shared_ptr<VLTerminal> terminal);
  // Prints the list and returns 0. Throws VLUsageError for a bad provider or a selection
  // that lists nothing, VLProviderUnavailable when the provider cannot be started.
  int execute();

 private:
  VLListOptions options_;
  std::shared_ptr<VLTerminal> terminal_;
};
