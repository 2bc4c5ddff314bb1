// VLUnixProviderArgument: the argument of the provider kind "unix:PATH": a provider daemon
// already listening on the Unix domain socket PATH, speaking the provider protocol. It runs
// with the settings it was started with, so this kind takes none.
#pragma once

#include <memory>
#include <string>

#include "Choice/VLProviderArgument.h"

class VLUnixProviderArgument : public VLProviderArgument {
 public:
  // Takes `path` as the socket's. Throws VLException when it is empty.
  static std::shared_ptr<const VLProviderArgument> parse(const std::string& path);

  // Returns the socket's path.
  std::string text() const override { return path_; }
  // Connects to the socket, completes the handshake and installs the protocol platform.
  VLInstalledProvider install(const VLProviderInstallOptions& options) const override;

 private:
  explicit VLUnixProviderArgument(std::string path) : path_(std::move(path)) {}

  const std::string path_;
};
