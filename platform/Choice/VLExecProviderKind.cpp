#include "Choice/VLExecProviderKind.h"

#include "Core/VLException.h"
#include "Remote/VLRemoteChildProcess.h"
#include "Remote/VLRemotePlatform.h"

void VLExecProviderKind::parse(const std::string& command) {
  if (VLRemoteChildProcess::splitCommandLine(command).empty()) {
    throw VLException("exec needs a command, as in exec:'COMMAND ARGS…'");
  }
}

VLInstalledProvider VLExecProviderKind::install(const std::string& command, const VLProviderInstallOptions& options) {
  auto remote = VLRemotePlatform::launch(command, options.remoteOptions());
  remote->install();
  return {remote, remote->provider()};
}

std::string VLExecProviderKind::addSettings(const std::string& command, const std::string& settings) {
  // Quoted as a shell would read it, so that the settings stay one word when split.
  std::string quoted = "'";
  for (char c : settings) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return command + " " + quoted + "'";
}
