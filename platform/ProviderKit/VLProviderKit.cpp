#include "ProviderKit/VLProviderKit.h"

#include <malloc.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <thread>

#include "ProviderKit/VLProviderKitSession.h"

namespace {

int kitListenOn(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) {
    std::fprintf(stderr, "provider: the socket path is too long: %s\n", path.c_str());
    return -1;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ::unlink(path.c_str());
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 || ::listen(fd, 16) != 0) {
    std::fprintf(stderr, "provider: cannot listen on %s: %s\n", path.c_str(), std::strerror(errno));
    if (fd >= 0) ::close(fd);
    return -1;
  }
  return fd;
}

}  // namespace

VLProviderKit::VLProviderKit(std::shared_ptr<VLProviderStore> store)
    : store_(std::move(store)), changes_(VLProviderChanges::make()) {}

std::shared_ptr<VLProviderKit> VLProviderKit::make(std::shared_ptr<VLProviderStore> store) {
  if (!store) throw VLException("VLProviderKit::make: no store was given");
  // Requests are answered on many threads, and glibc gives each its own arena that keeps the
  // freed page buffers of that thread: at 100,000 items two arenas hold a third less memory at
  // their peak, and run no slower.
  static const bool fewArenas = ::mallopt(M_ARENA_MAX, 2) == 1;
  (void)fewArenas;
  std::shared_ptr<VLProviderKit> kit(new VLProviderKit(std::move(store)));
  kit->store_->attach(kit->changes_);
  return kit;
}

void VLProviderKit::serve(int input, int output, bool trace) {
  VLProviderKitSession::make(input, output, store_, changes_, trace)->run();
}

int VLProviderKit::serveSocket(const std::string& path, bool trace) {
  // Signals are taken by sigwait() below, so block them before any thread starts.
  sigset_t stopping;
  sigemptyset(&stopping);
  sigaddset(&stopping, SIGINT);
  sigaddset(&stopping, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopping, nullptr);
  int listener = kitListenOn(path);
  if (listener < 0) return 1;
  auto self = shared_from_this();
  std::thread([listener, self, trace] {
    for (;;) {
      int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) {
        if (errno == EINTR || errno == ECONNABORTED) continue;
        return;
      }
      std::thread([client, self, trace] {
        self->serve(client, client, trace);
        ::close(client);
      }).detach();
    }
  }).detach();
  std::fprintf(stderr, "provider: listening on %s\n", path.c_str());
  int received = 0;
  sigwait(&stopping, &received);
  ::unlink(path.c_str());
  return 0;
}

int VLProviderKit::main(int argc, char** argv, std::shared_ptr<VLProviderStore> store,
                        const std::function<bool(const std::string&)>& extraArgument, const std::string& usage) {
  std::string program = argc > 0 ? argv[0] : "provider";
  std::string help = usage.empty() ? "usage: " + program + " [--socket PATH] [--trace]\n" : usage;
  std::string socketPath;
  bool trace = false;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    if (argument == "--help" || argument == "-h") {
      std::fputs(help.c_str(), stdout);
      return 0;
    } else if (argument == "--trace") {
      trace = true;
    } else if (argument == "--socket" && i + 1 < argc) {
      socketPath = argv[++i];
    } else if (!extraArgument || !extraArgument(argument)) {
      std::fprintf(stderr, "%s: unknown argument %s\n%s", program.c_str(), argument.c_str(), help.c_str());
      return 2;
    }
  }
  ::signal(SIGPIPE, SIG_IGN);
  auto kit = make(std::move(store));
  if (!socketPath.empty()) return kit->serveSocket(socketPath, trace);
  kit->serve(STDIN_FILENO, STDOUT_FILENO, trace);
  return 0;
}
