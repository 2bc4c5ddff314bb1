#include "vlvalidate/VLServeCommand.h"

#include <spawn.h>
#include <sys/wait.h>

#include <CLI/CLI.hpp>
#include <cstring>
#include <iostream>
#include <thread>

#include "Choice/VLProviderChoice.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLInterruptWatcher.h"
#include "vlvalidate/VLLiveGuard.h"
#include "vlvalidate/VLLiveServer.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLTerminal.h"

extern char** environ;

VLServeCommand::VLServeCommand(VLServeOptions options) : options_(std::move(options)) {}

void VLServeCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  command.add_option("--port", options_.port, "The port to listen on, 0 to 65535 (default 0: a free one)")
      ->check(CLI::Range(0, 65535).description(""))
      ->type_name("N");
  command
      .add_option("--listen", options_.listen,
                  "The address to listen on (default 127.0.0.1); any other than a loopback address lets other "
                  "machines reach a page that can start programs, and is warned about")
      ->type_name("ADDR");
  command
      .add_option("--provider", options_.providers,
                  "A provider the page may run, and the first its default; repeatable. The page runs sim with "
                  "any quirks, and no exec: or unix: provider but those given here:\n" +
                      VLProviderChoice::kindsHelp())
      ->type_name("PROVIDER");
  command.add_flag("--open", options_.open, "Open the page in the desktop's browser (xdg-open)");
  addHandshakeTimeoutOption(command, options_.handshakeTimeout);
  output.addTo(command, false);
}

int VLServeCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  std::vector<VLProviderChoice> providers;
  for (const auto& provider : options_.providers) providers.push_back(VLProviderChoice::parse(provider));
  auto server = VLLiveServer::make({.address = options_.listen,
                                    .port = options_.port,
                                    .providers = providers,
                                    .token = "",
                                    .handshakeTimeout = options_.handshakeTimeout});
  if (!VLLiveGuard::isLoopback(options_.listen)) {
    std::cerr << "vlvalidate: warning: listening on " << options_.listen
              << ", not a loopback address: other machines can reach the live UI. The first to open its "
                 "address gets the session.\n";
  }
  // The first interrupt stops serving (a run's running cases still finish); a second one
  // ends the process (the watcher's own behaviour without a handler).
  VLLiveServer* serving = server.get();
  VLInterruptWatcher::setHandler([serving](int, int) {
    serving->stop();
    VLInterruptWatcher::setHandler({});
  });
  terminal->print("vlvalidate serve: open " + server->url() + "\nPress Ctrl-C to stop.\n");
  std::cout.flush();
  if (options_.open) openBrowser(server->url());
  server->serve();
  VLInterruptWatcher::setHandler({});
  terminal->print("vlvalidate serve: stopped.\n");
  return VLExitPassed;
}

void VLServeCommand::openBrowser(const std::string& url) {
  pid_t child = 0;
  std::vector<char*> argv = {const_cast<char*>("xdg-open"), const_cast<char*>(url.c_str()), nullptr};
  const int failed = posix_spawnp(&child, "xdg-open", nullptr, nullptr, argv.data(), environ);
  if (failed) {
    std::cerr << "vlvalidate: warning: could not open a browser (xdg-open: " << std::strerror(failed)
              << "); open the address above yourself.\n";
    return;
  }
  // xdg-open returns once the browser has the page; its verdict comes as a warning.
  std::thread([child] {
    int status = 0;
    if (waitpid(child, &status, 0) == child && !(WIFEXITED(status) && WEXITSTATUS(status) == 0)) {
      std::cerr << "vlvalidate: warning: xdg-open could not open a browser; open the address above yourself.\n";
    }
  }).detach();
}
