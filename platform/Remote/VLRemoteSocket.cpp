#include "Remote/VLRemoteSocket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "Remote/VLProviderProtocolError.h"

std::unique_ptr<VLRemoteSocket> VLRemoteSocket::connect(const std::string& path) {
  auto fail = [&](const std::string& why) -> std::unique_ptr<VLRemoteSocket> {
    throw VLProviderProtocolException(VLProviderProtocolErrorCannotStart,
                                      "cannot connect to the provider at unix:" + path + ": " + why);
  };
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty()) return fail("no socket path was given");
  if (path.size() >= sizeof(address.sun_path)) {
    return fail("the path is " + std::to_string(path.size()) + " bytes long; a socket path holds at most " +
                std::to_string(sizeof(address.sun_path) - 1));
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return fail(std::strerror(errno));
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    int code = errno;
    ::close(fd);
    return fail(std::strerror(code));
  }
  return adopt(fd, "unix:" + path);
}

std::unique_ptr<VLRemoteSocket> VLRemoteSocket::adopt(int fd, std::string name) {
  return std::unique_ptr<VLRemoteSocket>(new VLRemoteSocket(fd, std::move(name)));
}

VLRemoteSocket::~VLRemoteSocket() { ::close(fd_); }

std::string VLRemoteSocket::endReason() { return "closed the connection"; }

void VLRemoteSocket::shutdown() { ::shutdown(fd_, SHUT_RDWR); }
