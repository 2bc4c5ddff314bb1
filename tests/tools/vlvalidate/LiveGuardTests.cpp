// Who may talk to the live UI: the Host, Origin and session decisions as a matrix over the
// requests an attacker or a stray client could send, for a loopback and a wildcard server;
// and the URL's token, which opens one session once.
#include <gtest/gtest.h>

#include "vlvalidate/VLLiveGuard.h"

namespace {

constexpr const char* kGuardToken = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

// Stands for the credential of the session that the case's guard opened.
constexpr const char* kOpened = "<the session>";

struct GuardCase {
  const char* name;
  const char* address;  // as given to --listen
  VLLiveGuard::Request request;
  int status;
};

// A request for `path` with these headers (none where empty); "Bearer <the session>" stands
// for the opened session's credential.
VLLiveGuard::Request request(const std::string& path, std::optional<std::string> host, const std::string& bearer,
                             std::optional<std::string> origin = {}) {
  return {path, host, origin, bearer.empty() ? std::nullopt : std::optional("Bearer " + bearer)};
}

TEST(LiveGuard, RefusesWhatItMustAndLetsThePageIn) {
  const std::string good = kOpened;
  const GuardCase cases[] = {
      {"no Host", "127.0.0.1", request("/", {}, good), 403},
      {"rebinding name", "127.0.0.1", request("/", "attacker.example:8123", good), 403},
      {"other port", "127.0.0.1", request("/", "127.0.0.1:8124", good), 403},
      {"no port", "127.0.0.1", request("/", "127.0.0.1", good), 403},
      {"localhost", "127.0.0.1", request("/", "LocalHost:8123", good), 200},
      {"foreign Origin", "127.0.0.1", request("/api/run", "127.0.0.1:8123", good, "http://attacker.example"), 403},
      {"null Origin", "127.0.0.1", request("/api/run", "127.0.0.1:8123", good, "null"), 403},
      {"https Origin", "127.0.0.1", request("/api/run", "127.0.0.1:8123", good, "https://127.0.0.1:8123"), 403},
      {"own Origin", "127.0.0.1", request("/api/run", "127.0.0.1:8123", good, "http://127.0.0.1:8123"), 200},
      {"the page needs no credential", "127.0.0.1", request("/", "127.0.0.1:8123", ""), 200},
      {"nor its scripts", "127.0.0.1", request("/live.js", "127.0.0.1:8123", ""), 200},
      {"the API does", "127.0.0.1", request("/api/events", "127.0.0.1:8123", ""), 401},
      {"URL token as the credential", "127.0.0.1", request("/api/events", "127.0.0.1:8123", kGuardToken), 401},
      {"another credential", "127.0.0.1", request("/api/events", "127.0.0.1:8123", std::string(64, 'a')), 401},
      {"the session", "127.0.0.1", request("/api/events", "127.0.0.1:8123", good), 200},
      {"trading the token needs none", "127.0.0.1", request("/api/session", "127.0.0.1:8123", ""), 200},
      {"wildcard, address literal", "0.0.0.0", request("/", "192.168.1.7:8123", good), 200},
      {"wildcard, name", "0.0.0.0", request("/", "attacker.example:8123", good), 403},
      {"wildcard, localhost", "0.0.0.0", request("/", "localhost:8123", good), 403},
      {"IPv6 loopback", "::1", request("/", "[::1]:8123", good), 200},
      {"given address only", "192.168.1.7", request("/", "10.0.0.1:8123", good), 403},
  };
  for (auto each : cases) {
    VLLiveGuard guard(each.address, 8123, kGuardToken);
    const auto session = guard.openSession(kGuardToken);
    ASSERT_TRUE(session);
    if (auto& header = each.request.authorization) {
      if (size_t at = header->find(kOpened); at != std::string::npos) header->replace(at, std::string(kOpened).size(), *session);
    }
    const auto decision = guard.check(each.request);
    EXPECT_EQ(decision.status, each.status) << each.name << ": " << decision.reason;
    EXPECT_EQ(decision.reason.empty(), each.status == 200) << each.name;
  }
}

TEST(LiveGuard, TheURLTokenOpensOneSessionOnce) {
  VLLiveGuard guard("127.0.0.1", 8123, kGuardToken);
  EXPECT_FALSE(guard.openSession(std::string(kGuardToken).replace(10, 1, "x"))) << "a wrong token spends nothing";
  EXPECT_FALSE(guard.openSession(""));
  const auto session = guard.openSession(kGuardToken);
  ASSERT_TRUE(session);
  EXPECT_EQ(session->size(), 64u);
  EXPECT_NE(*session, kGuardToken);
  EXPECT_FALSE(guard.openSession(kGuardToken)) << "a copy of the URL from a history opens nothing";
  EXPECT_EQ(guard.check(request("/api/choices", "127.0.0.1:8123", *session)).status, 200) << "the first page goes on";
}

TEST(LiveGuard, TokensAreFreshAndComparedWhole) {
  const std::string first = VLLiveGuard::freshToken(), second = VLLiveGuard::freshToken();
  EXPECT_EQ(first.size(), 64u);
  EXPECT_NE(first, second);
  EXPECT_TRUE(VLLiveGuard::sameToken(first, first));
  EXPECT_FALSE(VLLiveGuard::sameToken(first, first.substr(0, 63)));
  EXPECT_FALSE(VLLiveGuard::sameToken(first, second));
  EXPECT_FALSE(VLLiveGuard::sameToken("", first));
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
