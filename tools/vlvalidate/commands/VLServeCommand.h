// VLServeCommand: `vlvalidate serve`: the live local UI. Starts VLLiveServer, prints the
// address to open (with its token), opens a browser only when asked, and serves until an
// interrupt. Listening anywhere but a loopback address is allowed but warned about. A page
// runs the simulated provider and only the exec: and unix: providers given with --provider.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Choice/VLProviderInstallOptions.h"
#include "vlvalidate/VLCommand.h"

// How `vlvalidate serve` was asked to serve.
struct VLServeOptions {
  int port = 0;                    // --port: the port to listen on; 0 picks a free one
  std::string listen = "127.0.0.1";  // --listen: the address to listen on
  std::vector<std::string> providers;  // --provider (repeatable): the page's default first; the
                                      // exec: and unix: choices a page may run
  bool open = false;               // --open: open the page in the desktop's browser (xdg-open)
  // --handshake-timeout: for every provider a page starts
  double handshakeTimeout = VLProviderInstallOptions::kDefaultHandshakeTimeout;
};

class VLServeCommand : public VLCommand {
 public:
  explicit VLServeCommand(VLServeOptions options = {});

  void addOptions(CLI::App& command, VLOutputOptions& output) override;
  // Serves until SIGINT or SIGTERM (a second one ends the process at once) and returns
  // VLExitPassed. Throws VLUsageError for a bad provider choice or an address or port it
  // cannot listen on.
  int execute(const std::shared_ptr<VLTerminal>& terminal) override;

 private:
  // Opens `url` with xdg-open; a browser that cannot be opened is a warning, not an error.
  static void openBrowser(const std::string& url);

  VLServeOptions options_;
};
