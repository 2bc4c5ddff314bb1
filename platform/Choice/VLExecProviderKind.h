// VLExecProviderKind: the provider kind "exec:COMMAND": a provider started as a child process,
// speaking the provider protocol on its standard input and output. COMMAND is split into
// words as a shell would (quotes, backslashes).
#pragma once

#include <string>

#include "Choice/VLInstalledProvider.h"
#include "Choice/VLProviderInstallOptions.h"

class VLExecProviderKind {
 public:
  // Checks that `command` splits into at least one word. Throws VLException for an empty
  // command or a bad quote.
  static void parse(const std::string& command);
  // Starts `command`, completes the handshake and installs the protocol platform.
  static VLInstalledProvider install(const std::string& command, const VLProviderInstallOptions& options);
  // Returns `command` with `settings` appended as one quoted argument (a program that takes
  // the simulated provider's settings so, as vlprovider-sim does).
  static std::string addSettings(const std::string& command, const std::string& settings);
};
