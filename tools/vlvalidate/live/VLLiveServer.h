// VLLiveServer: the live UI's HTTP server (vlvalidate serve). It serves the page (the files
// of tools/vlvalidate/web, compiled in), a JSON API to start, stop and re-run runs
// (VLLiveSession), the run's events as server-sent events (VLLiveEventLog) and the run's
// reports for download. Every request passes VLLiveGuard first (Host, Origin, token), and
// every response forbids the page to load or send anything from or to another place.
//
// Bound on make(); serve() answers requests until stop(), which may come from any thread
// (an interrupt). Neither copyable nor movable.
#pragma once

#include <memory>
#include <string>

class VLLiveServer {
 public:
  // How the server is set up.
  struct Options {
    std::string address = "127.0.0.1";  // --listen: where to listen
    int port = 0;                       // --port: 0 picks a free port
    std::string provider = "sim";       // --provider: the choice the page starts with
    std::string token;                  // "" for a fresh one (tests give their own)
    double handshakeTimeout = 10.0;     // --handshake-timeout: for every provider a run starts
  };

  // Binds to the address and port. Throws VLUsageError saying why when it cannot.
  static std::unique_ptr<VLLiveServer> make(const Options& options);
  ~VLLiveServer();
  VLLiveServer(const VLLiveServer&) = delete;
  VLLiveServer& operator=(const VLLiveServer&) = delete;

  // The port it listens on (the one picked, for port 0).
  int port() const;
  // The token every request needs.
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
