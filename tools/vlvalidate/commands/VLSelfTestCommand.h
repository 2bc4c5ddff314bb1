// VLSelfTestCommand: `vlvalidate selftest`: proves that the validations catch what they exist
// to catch. Runs the conformant reference provider (every case passes, or ends as the fault
// matrix lists) and then every fault-matrix row against the reference provider with the
// row's quirks, printing one line per row with its outcome. Exits 0 when all rows hold.
// The reference provider is the built-in one, or (--provider exec:COMMAND) a program that
// serves it over the provider protocol, started anew for each check with the row's settings.
#pragma once

#include <memory>
#include <string>

#include "vlvalidate/VLCommand.h"
#include "vlvalidate/VLRunOptions.h"

struct VLSelfTestOptions {
  std::string provider = "sim";  // sim, sim:SETTINGS or exec:COMMAND; each row's settings are added
  std::string rows = "*";  // the rows to run: globs over their settings, separated by ':' ("no-child-count:stale-*")
  int jobs = VLRunOptions::kJobs.fallback;  // cases of a row run at once
  bool skipSlow = false;   // leave out rows that wait out a long time-out of a case
  bool verbose = false;    // list the cases of every row, not only of rows that do not hold
};

class VLSelfTestCommand : public VLCommand {
 public:
  explicit VLSelfTestCommand(VLSelfTestOptions options = {});

  void addOptions(CLI::App& command, VLOutputOptions& output) override;
  // Runs the rows; returns VLExitPassed when every row holds, else VLExitFailed. Throws
  // VLUsageError when the row filter selects no row or the provider is not one that can be
  // started with settings (unix:PATH), and VLProviderUnavailable when the conformant
  // provider cannot be started (a row's provider that cannot be started fails that row).
  int execute(const std::shared_ptr<VLTerminal>& terminal) override;

 private:
  VLSelfTestOptions options_;
  std::shared_ptr<VLTerminal> terminal_;
};
