// VLLiveGuard: who may talk to the live UI's server. The server can start programs (an exec:
// provider), so every request must come from the page it served, on this machine's browser:
//   - the Host header must name the address and port it serves (a name that some DNS answer
//     points at 127.0.0.1 does not: that is how DNS rebinding reaches a local server);
//   - an Origin header, when present, must be this server's own (no cross-site requests);
//   - the request must carry the token: the printed URL holds it once, the server then keeps
//     it in an HttpOnly, SameSite=Strict cookie, and API requests count the cookie only.
// Pure decisions over header values; an immutable value, safe to share between threads.
#pragma once

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
    std::optional<std::string> cookie;      // the Cookie header; none when absent
    std::optional<std::string> queryToken;  // ?token=…; none when absent
  };

  // What the guard decided.
  struct Decision {
    int status = 200;        // 200 to serve it; 403 for a foreign Host or Origin; 401 without the token
    std::string reason;      // why it was refused, for the response and the page
    bool setCookie = false;  // the token came in the URL: keep it as the cookie from now on
  };

  // Guards a server listening on `address` (as given to --listen) and `port`, whose token is
  // `token`.
  VLLiveGuard(std::string address, int port, std::string token);

  // Returns a fresh token: 32 bytes from the system's cryptographic source, in hexadecimal.
  static std::string freshToken();
  // Compares two tokens in time that depends on their lengths only, not on where they differ.
  static bool sameToken(std::string_view a, std::string_view b);
  // Returns whether `address` is a loopback address (127.0.0.0/8, ::1 or "localhost"), the
  // only kind that needs no warning.
  static bool isLoopback(std::string_view address);

  // Decides about one request (checks in the order above).
  Decision check(const Request& request) const;
  // Returns whether `host` ("127.0.0.1:8080", "[::1]:8080") names this server: its address
  // (or "localhost" when that is loopback, or any address literal when it listens on all
  // of them) with its port.
  bool servesHost(std::string_view host) const;
  // Returns whether `origin` ("http://127.0.0.1:8080") is this server's own.
  bool servesOrigin(std::string_view origin) const;

  // The cookie's name; it names the port, so that two servers on one machine keep their own.
  std::string cookieName() const;
  // The Set-Cookie value that keeps the token.
  std::string setCookieValue() const;
  // The token.
  const std::string& token() const { return token_; }

 private:
  std::optional<std::string> cookieToken(const std::string& header) const;

  std::string address_;
  int port_;
  std::string token_;
};
