// VLUnixProviderKind: the provider kind "unix:PATH": a provider daemon already listening on
// the Unix domain socket PATH, speaking the provider protocol. It runs with the settings it
// was started with, so this kind takes none.
#pragma once

#include <string>

#include "Choice/VLInstalledProvider.h"
#include "Choice/VLProviderInstallOptions.h"

class VLUnixProviderKind {
 public:
  // Checks that `path` is not empty. Throws VLException otherwise.
  static void parse(const std::string& path);
  // Connects to the socket at `path`, completes the handshake and installs the protocol platform.
  static VLInstalledProvider install(const std::string& path, const VLProviderInstallOptions& options);
};
