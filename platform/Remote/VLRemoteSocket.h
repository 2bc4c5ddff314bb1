// VLRemoteSocket: a provider session over one connected stream socket: a Unix domain socket
// that a provider daemon listens on, or one end of a socket pair (tests, in-process servers).
#pragma once

#include <memory>
#include <string>

#include "Remote/VLRemoteTransport.h"

class VLRemoteSocket : public VLRemoteTransport {
 public:
  // Connects to the Unix domain socket at `path`. Throws VLProviderProtocolException
  // (VLProviderProtocolErrorCannotStart) naming the path and the system's reason.
  static std::unique_ptr<VLRemoteSocket> connect(const std::string& path);
  // Takes ownership of a connected socket descriptor, named `name` in messages.
  static std::unique_ptr<VLRemoteSocket> adopt(int fd, std::string name);
  ~VLRemoteSocket() override;

  int readFD() const override { return fd_; }
  int writeFD() const override { return fd_; }
  std::string name() const override { return name_; }
  std::string endReason() override;
  void shutdown() override;

 private:
  VLRemoteSocket(int fd, std::string name) : fd_(fd), name_(std::move(name)) {}
  const int fd_;
  const std::string name_;
};
