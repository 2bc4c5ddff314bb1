// VLLiveServer: the live UI's HTTP server (vlvalidate serve). It serves the page (the files
// of tools/vlvalidate/web, compiled in), a JSON API to start, stop and re-run runs
// (VLLiveSession), the run's events as server-sent events (VLLiveEventLog) and the run's
// reports for download. Every request passes VLLiveGuard first (Host, Origin, the session's
// credential), and every response forbids the page to load or send anything from or to
// another place. A page runs only the providers the command line allows: the simulated one
// with any quirks, and the exec: and unix: choices given with --provider. Requests are
// bounded: a body above kLargestBody is refused (413), a client that stops sending its
// request is dropped after kReadTimeout, and no reply repeats more than a few hundred bytes
// of what it was sent.
//
// Bound on make(); serve() answers requests until stop(), which may come from any thread
// (an interrupt). Neither copyable nor movable.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Choice/VLProviderChoice.h"

class VLLiveServer {
 public:
  // How the server is set up.
  struct Options {
    std::string address = "127.0.0.1";  // --listen: where to listen
    int port = 0;                       // --port: 0 picks a free port
    // --provider: the first is the page's default (sim when there is none); the exec: and
    // unix: choices a page may run
    std::vector<VLProviderChoice> providers;
    std::string token;  // "" for a fresh one (tests give their own)
    // --handshake-timeout: for every provider a run starts
    double handshakeTimeout = VLProviderInstallOptions::kDefaultHandshakeTimeout;
  };

  // The largest request body taken; the page's requests are a few hundred bytes.
  static constexpr size_t kLargestBody = 64 * 1024;
  // How long a client may take to send the next part of its request.
  static constexpr int kReadTimeoutSeconds = 2;

  // Binds to the address and port. Throws VLUsageError saying why when it cannot.
  static std::unique_ptr<VLLiveServer> make(const Options& options);
  ~VLLiveServer();
  VLLiveServer(const VLLiveServer&) = delete;
  VLLiveServer& operator=(const VLLiveServer&) = delete;

  // The port it listens on (the one picked, for port 0).
  int port() const;
  // The token of the printed URL, which opens one session once.
  const std::string& token() const;
  // The address to open, with the token: "http://127.0.0.1:PORT/?token=…" (the loopback
  // address when listening on every address).
  std::string url() const;

  // Answers requests on the calling thread until stop() has been called; then waits for
  // the running cases of a run to finish.
  void serve();
  // Ends every event stream and makes serve() return. Safe from any thread; may be repeated.
  void stop();

 private:
  struct Parts;
  explicit VLLiveServer(std::unique_ptr<Parts> parts);
  void addRoutes();

  std::unique_ptr<Parts> parts_;
};
