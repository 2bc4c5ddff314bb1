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
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "ProviderKit/VLProviderKit.h"
#include "Simulated/Simulated.h"
#include "VLSimulatedProviderStore.h"

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
  auto kit = VLProviderKit::make(std::make_shared<VLSimulatedProviderStore>(service, service->provider()));
  if (socketPath.empty()) {
    kit->serve(STDIN_FILENO, STDOUT_FILENO, trace);
    finish(service, 0);
  }
  finish(service, kit->serveSocket(socketPath, trace));
}
