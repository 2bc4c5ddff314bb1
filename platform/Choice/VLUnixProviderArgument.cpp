#include "Choice/VLUnixProviderArgument.h"

#include "Core/VLException.h"
#include "Remote/VLRemotePlatform.h"

std::shared_ptr<const VLProviderArgument> VLUnixProviderArgument::parse(const std::string& path) {
  if (path.empty()) throw VLException("unix needs a socket path, as in unix:PATH");
  return std::shared_ptr<const VLProviderArgument>(new VLUnixProviderArgument(path));
}

VLInstalledProvider VLUnixProviderArgument::install(const VLProviderInstallOptions& options) const {
  auto remote = VLRemotePlatform::connectToSocket(path_, options.remoteOptions());
  remote->install();
  return {remote, remote->provider()};
}
