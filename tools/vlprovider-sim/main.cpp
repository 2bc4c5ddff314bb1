// vlprovider-sim: the simulated provider service, served over the provider protocol on
// standard input and output, or to every client of a Unix domain socket.
//
//   vlprovider-sim [--socket PATH] [--trace] [SETTING…]
//
// SETTINGs are the simulated provider's quirk names and name=value settings (the README
// lists them), as separate arguments or comma-separated. On standard input and output the
// program serves one session and exits when its input ends; with --socket it serves every
// connection (each a session of its own, all on one provider) until SIGINT or SIGTERM.
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Simulated/Simulated.h"
#include "VLProviderServer.h"

namespace {

const char* kUsage =
    "usage: vlprovider-sim [--socket PATH] [--trace] [SETTING...]\n"
    "Serves the simulated provider over the provider protocol (docs/provider-protocol.md) on\n"
    "standard input and output, or on the Unix domain socket PATH. SETTINGs are quirk names\n"
    "and name=value settings of the simulated provider, e.g. case-sensitive-names upload-latency=200ms.\n";

// Removes what the service left on disk, then ends the process without running destructors
// while service threads may still be working.
[[noreturn]] void finish(const std::shared_ptr<VLSimulatedProviderService>& service, int status) {
  std::error_code ignored;
  std::filesystem::remove_all(service->storageDirectory().path(), ignored);
  std::filesystem::remove_all(service->temporaryDirectory().path(), ignored);
  std::fflush(stderr);
  std::_Exit(status);
}

int listenOn(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) {
    std::fprintf(stderr, "vlprovider-sim: the socket path is too long: %s\n", path.c_str());
    return -1;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ::unlink(path.c_str());
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || ::listen(fd, 16) != 0) {
    std::fprintf(stderr, "vlprovider-sim: cannot listen on %s: %s\n", path.c_str(), std::strerror(errno));
    return -1;
  }
  return fd;
}

}  // namespace

int main(int argc, char** argv) {
  std::string socketPath, settings;
  bool trace = false;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    if (argument == "--help" || argument == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    } else if (argument == "--trace") {
      trace = true;
    } else if (argument == "--socket" && i + 1 < argc) {
      socketPath = argv[++i];
    } else if (argument.rfind("--", 0) == 0) {
      std::fprintf(stderr, "vlprovider-sim: unknown option %s\n%s", argument.c_str(), kUsage);
      return 2;
    } else {
      settings += (settings.empty() ? "" : ",") + argument;
    }
  }
  ::signal(SIGPIPE, SIG_IGN);
  std::shared_ptr<VLSimulatedProviderService> service;
  try {
    service = VLSimulatedProviderService::make(settings);
  } catch (const VLException& error) {
    std::fprintf(stderr, "vlprovider-sim: %s\n", error.what());
    return 2;
  }
  service->install();

  if (socketPath.empty()) {
    VLProviderServer::make(STDIN_FILENO, STDOUT_FILENO, service, service->provider(), trace)->run();
    finish(service, 0);
  }

  // Signals are taken by sigwait() below, so block them before any thread starts.
  sigset_t stopping;
  sigemptyset(&stopping);
  sigaddset(&stopping, SIGINT);
  sigaddset(&stopping, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopping, nullptr);
  int listener = listenOn(socketPath);
  if (listener < 0) finish(service, 1);
  std::thread([listener, service, trace] {
    for (;;) {
      int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) {
        if (errno == EINTR || errno == ECONNABORTED) continue;
        return;
      }
      std::thread([client, service, trace] {
        VLProviderServer::make(client, client, service, service->provider(), trace)->run();
        ::close(client);
      }).detach();
    }
  }).detach();
  std::fprintf(stderr, "vlprovider-sim: listening on %s\n", socketPath.c_str());
  int received = 0;
  sigwait(&stopping, &received);
  ::unlink(socketPath.c_str());
  finish(service, 0);
}
