// VLOutputOptions: the options every command takes about its output: how the console looks
// and where the library's log goes. Parsed once per process, then read.
#pragma once

#include <memory>
#include <string>

namespace CLI {
class App;
}
class VLTerminal;

struct VLOutputOptions {
  std::string color = "auto";  // --color: auto (on a terminal, unless NO_COLOR is set), always or never
  bool noProgress = false;     // --no-progress: no live status line, even on a terminal
  bool debug = false;          // --debug: also log [DEBUG] and [INFO] lines
  std::string logPath;         // --log: append every log line to this file instead; "" for standard error

  // Adds --color, --no-progress (for a command with a status line, `progress`), --debug and
  // --log to `command`, bound to these fields.
  void addTo(CLI::App& command, bool progress);
  // Returns the terminal of this process as these options want it; report lines go to
  // standard error when `documentOnStandardOutput`.
  std::shared_ptr<VLTerminal> terminal(bool documentOnStandardOutput) const;
  // Routes the library's log: [ERROR] and [CRIT] lines to `terminal` (so that they do not
  // cut into the status line), [DEBUG] and [INFO] only with --debug, everything to the file
  // with --log. Throws VLUsageError when the log file cannot be written.
  void routeLog(const std::shared_ptr<VLTerminal>& terminal) const;
};
