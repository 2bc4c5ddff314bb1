// VLCommandLine: the vlvalidate program: parses the command line (CLI11) into the commands of
// VLCommandTable, sets up logging and the terminal, runs the one command named (the first
// row, run, when none is) and turns what went wrong into a message and an exit status
// (VLExitCode): 0 no case failed, 1 a case failed (with a baseline: a regression), 2 usage
// or bad input, 3 provider not eligible, 4 provider could not be started or reached;
// 130/143 interrupted (SIGINT/SIGTERM) before every case ran.
#pragma once

#include <string>
#include <vector>

class VLCommandLine {
 public:
  // Runs vlvalidate with `arguments` (without the program name) and returns the exit status.
  // Writes to standard output and standard error.
  static int main(const std::vector<std::string>& arguments);
};
