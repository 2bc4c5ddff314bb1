#include "Choice/VLUnixProviderKind.h"

#include "Core/VLException.h"
#include "Remote/VLRemotePlatform.h"

void VLUnixProviderKind::parse(const std::string& path) {
  if (path.empty()) throw VLException("unix needs a socket path, as in unix:PATH");
}

VLInstalledProvider VLUnixProviderKind::install(const std::string& path, const VLProviderInstallOptions& options) {
  auto remote = VLRemotePlatform::connectToSocket(path, options.remoteOptions());
  remote->install();
  return {remote, remote->provider()};
}
