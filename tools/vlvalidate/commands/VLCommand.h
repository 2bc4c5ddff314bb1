// VLCommand: one command of vlvalidate (run, list, …), as the command line drives it: it adds
// its options before parsing, bound to its own fields, and runs once parsing has filled
// them. Each command is one subclass in its own file pair and one row of VLCommandTable.
//
// Used from one thread: made, set up, parsed into and run by VLCommandLine::main.
#pragma once

#include <memory>
#include <string>

namespace CLI {
class App;
}
class VLTerminal;
struct VLOutputOptions;

class VLCommand {
 public:
  virtual ~VLCommand() = default;

  // Adds the command's options to `command`, bound to this object, and the output options it
  // takes through `output` (VLOutputOptions::addTo). Called once, before parsing.
  virtual void addOptions(CLI::App& command, VLOutputOptions& output) = 0;
  // Returns whether, as parsed, the command writes a document to standard output; the
  // console report then goes to standard error.
  virtual bool writesToStandardOutput() const { return false; }
  // Runs the command as parsed, writing to `terminal`, and returns its exit status (a
  // VLExitCode). Throws VLUsageError for bad input and VLProviderUnavailable when the
  // provider cannot be started or reached.
  virtual int execute(const std::shared_ptr<VLTerminal>& terminal) = 0;

 protected:
  // Adds --provider to `command`, bound to `provider`, with the help of every provider kind.
  static void addProviderOption(CLI::App& command, std::string& provider);
  // Adds --handshake-timeout SECONDS to `command`, bound to `seconds` (above 0, at most a day).
  static void addHandshakeTimeoutOption(CLI::App& command, double& seconds);
};
