// VLListCommand: `vlvalidate list`: the cases of the provider with their short ID,
// category, display title and unit-test runner name, as a table or (--json) as a JSON
// document on standard output; --filter and --category narrow the list as they do a run.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "vlvalidate/VLCommand.h"

// What `vlvalidate list` lists, and how.
struct VLListOptions {
  std::string provider = "sim";         // --provider: whose cases, as VLProviderChoice reads it
  std::string filter = "*";             // --filter: only the cases this pattern selects (as for run)
  std::optional<std::string> category;  // --category: only cases of category "1" or "2"; none for all
  bool json = false;                    // --json: a JSON document on standard output instead of a table
};

class VLListCommand : public VLCommand {
 public:
  explicit VLListCommand(VLListOptions options = {});

  void addOptions(CLI::App& command, VLOutputOptions& output) override;
  // Returns whether --json was given.
  bool writesToStandardOutput() const override { return options_.json; }
  // Prints the list and returns VLExitPassed. Throws VLUsageError for a bad provider or a
  // selection that lists nothing, VLProviderUnavailable when the provider cannot be started.
  int execute(const std::shared_ptr<VLTerminal>& terminal) override;

 private:
  VLListOptions options_;
};
