#include "Choice/VLUnixProviderKind.h"

#include "Core/VLException.h"
#include "Remote/VLRemotePlatform.h"

void VLUnixProviderKind::parse(const std::string& path) {
  if (path.empty()) throw VLException("unix needs a socket path, as in unix:PATH");
}

VLInstalledProvider VLUnixProviderKind::install(const std::string& path) {
  auto remote = VLRemotePlatform::connectToSocket(path);
  remote->install();
  return {remote, remote->provider()};
}
