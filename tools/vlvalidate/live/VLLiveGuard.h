// VLLiveGuard: who may talk to the live UI's server. The server can start programs (an exec:
// provider), so every request must come from the page it served, on this machine's browser:
//   - the Host header must name the address and port it serves (a name that some DNS answer
//     points at 127.0.0.1 does not: that is how DNS rebinding reaches a local server);
//   - an Origin header, when present, must be this server's own (no cross-site requests);
//   - every API request must carry the session's credential in its Authorization header.
//     The printed URL's token opens one session, once: the page trades it (POST /api/session)
//     for the credential and keeps that itself, so a copy of the URL in a history or a
//     scroll-back is worthless. Nothing is a cookie: a browser sends cookies to every port
//     of a host, and so to any other local server the browser visits.
// The page's own files hold nothing secret and need no credential.
// Safe to share between threads: the session's state is behind a mutex.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

class VLLiveGuard {
 public:
  // What the guard reads of one request.
  struct Request {
    std::string path;                       // "/", "/live.js", "/api/events"
    std::optional<std::string> host;        // the Host header; none when absent
    std::optional<std::string> origin;      // the Origin header; none when absent
    std::optional<std::string> authorization;  // the Authorization header; none when absent
  };

  // What the guard decided.
  struct Decision {
    int status = 200;    // 200 to serve it; 403 for a foreign Host or Origin; 401 without the credential
    std::string reason;  // why it was refused, for the response and the page
  };

  // The path where the page trades the URL's token for the session's credential.
  static constexpr const char* kSessionPath = "/api/session";

  // Guards a server listening on `address` (as given to --listen) and `port`, whose printed
  // URL holds `token`.
  VLLiveGuard(std::string address, int port, std::string token);

  // Returns a fresh token: 32 bytes from the system's cryptographic source, in hexadecimal.
  static std::string freshToken();
  // Compares two tokens in time that depends on their lengths only, not on where they differ.
  static bool sameToken(std::string_view a, std::string_view b);
  // Returns whether `address` is a loopback address (127.0.0.0/8, ::1 or "localhost"), the
  // only kind that needs no warning.
  static bool isLoopback(std::string_view address);

  // Decides about one request (checks in the order above). The session path needs no
  // credential: openSession() decides there.
  Decision check(const Request& request) const;
  // Trades the URL's `token` for the session's credential, the first time only: returns none
  // for a wrong token and for any later use of the right one.
  std::optional<std::string> openSession(std::string_view token);
  // Returns whether `host` ("127.0.0.1:8080", "[::1]:8080") names this server: its address
  // (or "localhost" when that is loopback, or any address literal when it listens on all
  // of them) with its port.
  bool servesHost(std::string_view host) const;
  // Returns whether `origin` ("http://127.0.0.1:8080") is this server's own.
  bool servesOrigin(std::string_view origin) const;

  // The token of the printed URL.
  const std::string& token() const { return token_; }

  VLLiveGuard(const VLLiveGuard&) = delete;
  VLLiveGuard& operator=(const VLLiveGuard&) = delete;

 private:
  const std::string address_;
  const int port_;
  const std::string token_;
  mutable std::mutex mutex_;
  bool spent_ = false;    // guarded by mutex_: the URL's token has opened the session
  std::string session_;   // guarded by mutex_: the session's credential, once opened
};
