#include "vlvalidate/VLLiveGuard.h"

#include <arpa/inet.h>

#include "Core/VLRandom.h"
#include "Core/VLText.h"

namespace {

// Whether `text` is an IPv4 or IPv6 address literal (without brackets).
bool isAddressLiteral(const std::string& text) {
  unsigned char buffer[16];
  return inet_pton(AF_INET, text.c_str(), buffer) == 1 || inet_pton(AF_INET6, text.c_str(), buffer) == 1;
}

bool isWildcard(const std::string& address) { return address == "0.0.0.0" || address == "::"; }

// Splits "name:port" or "[v6]:port" into the name (without brackets) and the port text.
bool splitHost(std::string_view host, std::string& name, std::string& port) {
  if (!host.empty() && host.front() == '[') {
    size_t close = host.find(']');
    if (close == std::string_view::npos || close + 1 >= host.size() || host[close + 1] != ':') return false;
    name = host.substr(1, close - 1);
    port = host.substr(close + 2);
    return true;
  }
  size_t colon = host.rfind(':');
  if (colon == std::string_view::npos || host.find(':') != colon) return false;
  name = host.substr(0, colon);
  port = host.substr(colon + 1);
  return true;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

VLLiveGuard::VLLiveGuard(std::string address, int port, std::string token)
    : address_(vl_lowercase(std::move(address))), port_(port), token_(std::move(token)) {}

std::string VLLiveGuard::freshToken() {
  unsigned char bytes[32];
  vl_randomBytes(bytes, sizeof bytes);
  static const char* digits = "0123456789abcdef";
  std::string token;
  for (unsigned char byte : bytes) token += {digits[byte >> 4], digits[byte & 15]};
  return token;
}

bool VLLiveGuard::sameToken(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned char difference = 0;
  for (size_t i = 0; i < a.size(); ++i) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
  return difference == 0;
}

bool VLLiveGuard::isLoopback(std::string_view address) {
  const std::string lower = vl_lowercase(std::string(address));
  if (lower == "localhost" || lower == "::1") return true;
  in_addr v4{};
  return inet_pton(AF_INET, lower.c_str(), &v4) == 1 && (ntohl(v4.s_addr) >> 24) == 127;
}

bool VLLiveGuard::servesHost(std::string_view host) const {
  std::string name, port;
  if (!splitHost(host, name, port) || port != std::to_string(port_)) return false;
  name = vl_lowercase(name);
  if (name == address_) return true;
  if (isLoopback(address_) && name == "localhost") return true;
  // Listening on every address: any address literal will do, never a name (a name is what
  // a rebinding attacker controls).
  return isWildcard(address_) && isAddressLiteral(name);
}

bool VLLiveGuard::servesOrigin(std::string_view origin) const {
  constexpr std::string_view scheme = "http://";
  return origin.substr(0, scheme.size()) == scheme && servesHost(origin.substr(scheme.size()));
}

std::string VLLiveGuard::cookieName() const { return "vlvalidate-token-" + std::to_string(port_); }

std::string VLLiveGuard::setCookieValue() const {
  return cookieName() + "=" + token_ + "; Path=/; HttpOnly; SameSite=Strict";
}

std::optional<std::string> VLLiveGuard::cookieToken(const std::string& header) const {
  const std::string name = cookieName();
  std::string_view rest = header;
  while (!rest.empty()) {
    size_t semicolon = rest.find(';');
    std::string_view pair = trimmed(rest.substr(0, semicolon));
    rest = semicolon == std::string_view::npos ? std::string_view() : rest.substr(semicolon + 1);
    size_t equals = pair.find('=');
    if (equals != std::string_view::npos && pair.substr(0, equals) == name) {
      return std::string(pair.substr(equals + 1));
    }
  }
  return std::nullopt;
}

VLLiveGuard::Decision VLLiveGuard::check(const Request& request) const {
  const std::string served = address_ + ":" + std::to_string(port_);
  if (!request.host) return {403, "refused: the request has no Host header", false};
  if (!servesHost(*request.host)) {
    return {403, "refused: Host \"" + *request.host + "\" is not this server's address (" + served + ")", false};
  }
  if (request.origin && !servesOrigin(*request.origin)) {
    return {403, "refused: the request comes from another site (Origin \"" + *request.origin + "\")", false};
  }
  if (request.cookie) {
    auto token = cookieToken(*request.cookie);
    if (token && sameToken(*token, token_)) return {};
  }
  // The URL's token opens the page; the page's own requests then carry the cookie.
  const bool api = request.path.rfind("/api/", 0) == 0;
  if (!api && request.queryToken && sameToken(*request.queryToken, token_)) return {200, "", true};
  return {401,
          api ? "refused: no valid token cookie; open the URL that vlvalidate serve printed"
              : "refused: missing or wrong token; open the URL that vlvalidate serve printed",
          false};
}
