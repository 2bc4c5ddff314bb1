// Who may talk to the live UI: the Host, Origin and token decisions as a matrix over the
// requests an attacker or a stray client could send, for a loopback and a wildcard server.
#include <gtest/gtest.h>

#include "vlvalidate/VLLiveGuard.h"

namespace {

constexpr const char* kGuardToken = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

struct GuardCase {
  const char* name;
  const char* address;  // as given to --listen
  VLLiveGuard::Request request;
  int status;
  bool setCookie;
};

// A request for `path` with these headers (none where empty) and ?token=`queryToken`.
VLLiveGuard::Request request(const std::string& path, std::optional<std::string> host, const std::string& cookie,
                             std::optional<std::string> origin = {}, std::optional<std::string> queryToken = {}) {
  return {path, host, origin, cookie.empty() ? std::nullopt : std::optional(cookie), queryToken};
}

std::string guardCookie(const std::string& token, int port = 8123) {
  return "theme=dark; vlvalidate-token-" + std::to_string(port) + "=" + token + "; other=1";
}

TEST(LiveGuard, RefusesWhatItMustAndLetsThePageIn) {
  const std::string good = guardCookie(kGuardToken);
  const std::string wrong = std::string(kGuardToken).replace(10, 1, "x");
  const GuardCase cases[] = {
      {"no Host", "127.0.0.1", request("/", {}, good), 403, false},
      {"rebinding name", "127.0.0.1", request("/", "attacker.example:8123", good), 403, false},
      {"other port", "127.0.0.1", request("/", "127.0.0.1:8124", good), 403, false},
      {"no port", "127.0.0.1", request("/", "127.0.0.1", good), 403, false},
      {"localhost", "127.0.0.1", request("/", "LocalHost:8123", good), 200, false},
      {"foreign Origin", "127.0.0.1",
       request("/api/run", "127.0.0.1:8123", good, "http://attacker.example"), 403, false},
      {"null Origin", "127.0.0.1", request("/api/run", "127.0.0.1:8123", good, "null"),
       403, false},
      {"https Origin", "127.0.0.1",
       request("/api/run", "127.0.0.1:8123", good, "https://127.0.0.1:8123"), 403, false},
      {"own Origin", "127.0.0.1",
       request("/api/run", "127.0.0.1:8123", good, "http://127.0.0.1:8123"), 200, false},
      {"no token", "127.0.0.1", request("/", "127.0.0.1:8123", ""), 401, false},
      {"wrong URL token", "127.0.0.1", request("/", "127.0.0.1:8123", "", {}, wrong), 401, false},
      {"short URL token", "127.0.0.1", request("/", "127.0.0.1:8123", "", {}, "0123"), 401, false},
      {"URL token", "127.0.0.1", request("/", "127.0.0.1:8123", "", {}, kGuardToken), 200, true},
      {"URL token for the API", "127.0.0.1",
       request("/api/events", "127.0.0.1:8123", "", {}, kGuardToken), 401, false},
      {"wrong cookie", "127.0.0.1", request("/api/events", "127.0.0.1:8123", guardCookie(wrong)), 401, false},
      {"another server's cookie", "127.0.0.1",
       request("/api/events", "127.0.0.1:8123", guardCookie(kGuardToken, 9000)), 401, false},
      {"cookie", "127.0.0.1", request("/api/events", "127.0.0.1:8123", good), 200, false},
      {"wildcard, address literal", "0.0.0.0", request("/", "192.168.1.7:8123", good), 200, false},
      {"wildcard, name", "0.0.0.0", request("/", "attacker.example:8123", good), 403, false},
      {"wildcard, localhost", "0.0.0.0", request("/", "localhost:8123", good), 403, false},
      {"IPv6 loopback", "::1", request("/", "[::1]:8123", good), 200, false},
      {"given address only", "192.168.1.7", request("/", "10.0.0.1:8123", good), 403, false},
  };
  for (const auto& each : cases) {
    const VLLiveGuard guard(each.address, 8123, kGuardToken);
    const auto decision = guard.check(each.request);
    EXPECT_EQ(decision.status, each.status) << each.name << ": " << decision.reason;
    EXPECT_EQ(decision.setCookie, each.setCookie) << each.name;
    EXPECT_EQ(decision.reason.empty(), each.status == 200) << each.name;
  }
}

TEST(LiveGuard, TokensAreFreshAndComparedWhole) {
  const std::string first = VLLiveGuard::freshToken(), second = VLLiveGuard::freshToken();
  EXPECT_EQ(first.size(), 64u);
  EXPECT_NE(first, second);
  EXPECT_TRUE(VLLiveGuard::sameToken(first, first));
  EXPECT_FALSE(VLLiveGuard::sameToken(first, first.substr(0, 63)));
  EXPECT_FALSE(VLLiveGuard::sameToken(first, second));
  EXPECT_FALSE(VLLiveGuard::sameToken("", first));

  const VLLiveGuard guard("127.0.0.1", 8123, first);
  const std::string set = guard.setCookieValue();
  EXPECT_EQ(set.rfind("vlvalidate-token-8123=" + first + ";", 0), 0u) << set;
  EXPECT_NE(set.find("HttpOnly"), std::string::npos);
  EXPECT_NE(set.find("SameSite=Strict"), std::string::npos);
}

TEST(LiveGuard, OnlyLoopbackAddressesGoWithoutWarning) {
  for (const char* address : {"127.0.0.1", "127.1.2.3", "::1", "localhost"}) {
    EXPECT_TRUE(VLLiveGuard::isLoopback(address)) << address;
  }
  for (const char* address : {"0.0.0.0", "::", "192.168.1.7", "128.0.0.1", "example.com"}) {
    EXPECT_FALSE(VLLiveGuard::isLoopback(address)) << address;
  }
}

}  // namespace
