// VLReportCommand: `vlvalidate report FILE.json --html OUT`: turns a saved JSON report into
// the HTML page that `run --html` writes. Reads reports of format versions 1 to 3 (the older
// ones have no traces to draw).
#pragma once

#include <memory>
#include <string>

#include "vlvalidate/VLCommand.h"

// What `vlvalidate report` reads and writes.
struct VLReportOptions {
  std::string input;  // FILE.json: a report written by --json (or by merge)
  std::string html;   // --html: the page to write, "-" for standard output
};

class VLReportCommand : public VLCommand {
 public:
  explicit VLReportCommand(VLReportOptions options = {});

  void addOptions(CLI::App& command, VLOutputOptions& output) override;
  // Returns whether the page goes to standard output.
  bool writesToStandardOutput() const override { return options_.html == "-"; }
  // Writes the page and returns VLExitPassed. Throws VLUsageError when the page cannot be
  // written or the input is not a report of a version this program reads.
  int execute(const std::shared_ptr<VLTerminal>& terminal) override;

 private:
  VLReportOptions options_;
};
