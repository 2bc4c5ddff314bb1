// Faults of a provider process, staged by a scripted provider: each becomes a precise error
// on the request concerned, nothing hangs, and once the provider is gone everything fails
// at once with the reason.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Remote/VLRemoteChildProcess.h"
#include "ScriptedProvider.h"
#include "Vaultline/Vaultline.h"
#include "support/Await.h"

namespace {

using remotetest::json;
using remotetest::ScriptedProvider;

using Outcome = std::pair<VLItemRef, VLErrorRef>;

VLRemotePlatform::Options timeouts(double handshake, double request) {
  VLRemotePlatform::Options options;
  options.handshakeTimeout = handshake;
  options.requestTimeout = request;
  return options;
}

// Starts a look-up of `identifier`; the outcome comes through the returned future-like await.
void startLookup(const std::shared_ptr<VLRemotePlatform>& platform, const std::string& identifier,
                 std::function<void(Outcome)> reply) {
  auto itemID = VLItemID::makeReceived(platform->provider()->providerIdentifier(), std::nullopt, identifier);
  platform->defaultItemManager()->fetchItemForItemID(itemID, [reply](VLItemRef item, VLErrorRef error) {
    reply({item, error});
  });
}

class VLRemoteFaults : public ::testing::Test {
 protected:
  void open(VLRemotePlatform::Options options = {}) {
    platform = provider.open(nullptr, nullptr, options);
    ASSERT_TRUE(platform);
  }
  // Looks `identifier` up while the provider answers with `line` (given the request's id).
  Outcome lookupAnswered(const std::function<std::string(const json& id)>& line) {
    return vl_await<Outcome>([&](auto reply) {
      startLookup(platform, "a", reply);
      json request = provider.expect("items.lookup");
      provider.sendLine(line(request["id"]));
    });
  }

  ScriptedProvider provider;
  std::shared_ptr<VLRemotePlatform> platform;
};

TEST_F(VLRemoteFaults, EachFaultyAnswerFailsItsRequestWithAPreciseError) {
  open();
  struct Row {
    const char* fault;
    std::string answer;  // "ID" stands for the request's id
    int64_t code;
    std::string words;
  };
  const std::string item =
      R"("itemIdentifier":"a","parentItemIdentifier":"p","filename":"a.txt","typeIdentifier":"public.data")";
  const std::vector<Row> rows = {
      {"not JSON", R"({"jsonrpc":"2.0","id":ID,"result":{)", VLProviderProtocolErrorMalformed,
       "answer to items.lookup (request ID) is malformed: not JSON"},
      {"wrong version", R"({"jsonrpc":"1.0","id":ID,"result":{}})", VLProviderProtocolErrorMalformed,
       "\"jsonrpc\" must be \"2.0\""},
      {"result and error", R"({"jsonrpc":"2.0","id":ID,"result":{},"error":{"code":1,"message":"x"}})",
       VLProviderProtocolErrorMalformed, "exactly one of \"result\" and \"error\""},
      {"result not an object", R"({"jsonrpc":"2.0","id":ID,"result":[]})", VLProviderProtocolErrorMalformed,
       "\"result\" must be an object"},
      {"unknown method", R"({"jsonrpc":"2.0","id":ID,"error":{"code":-32601,"message":"unknown method"}})",
       VLProviderProtocolErrorRejected, "rejected items.lookup (request ID): unknown method (JSON-RPC error -32601)"},
      {"missing field", R"({"jsonrpc":"2.0","id":ID,"result":{"item":{"itemIdentifier":"a"}}})",
       VLProviderProtocolErrorInvalidAnswer, "result.item: missing field \"parentItemIdentifier\""},
      {"mistyped field", R"({"jsonrpc":"2.0","id":ID,"result":{"item":{)" + item + R"(,"childItemCount":"3"}}})",
       VLProviderProtocolErrorInvalidAnswer, "result.item.childItemCount: expected an integer, got \"3\""},
      {"bad data", R"({"jsonrpc":"2.0","id":ID,"result":{"item":{)" + item + R"(,"tagData":"%%"}}})",
       VLProviderProtocolErrorInvalidAnswer, "result.item.tagData: expected base64"},
      {"bad error", R"({"jsonrpc":"2.0","id":ID,"result":{"error":{"domain":"D","code":"-1"}}})",
       VLProviderProtocolErrorInvalidAnswer, "result.error.code: expected an integer, got \"-1\""},
  };
  for (const auto& row : rows) {
    std::string id;
    auto [found, error] = lookupAnswered([&](const json& requestID) {
      id = requestID.dump();
      std::string line = row.answer;
      line.replace(line.find("ID"), 2, id);
      return line;
    });
    std::string words = row.words;
    if (auto at = words.find("ID"); at != std::string::npos) words.replace(at, 2, id);
    EXPECT_FALSE(found) << row.fault;
    ASSERT_TRUE(error) << row.fault;
    EXPECT_EQ(error->domain(), VLProviderProtocolErrorDomain) << row.fault;
    EXPECT_EQ(error->code(), row.code) << row.fault;
    EXPECT_NE(error->localizedDescription().find(words), std::string::npos)
        << row.fault << ": " << error->localizedDescription();
  }

  // A failure the provider reports is the operation's outcome, passed on as it is.
  auto [found, error] = lookupAnswered([&](const json& id) {
    return json{
        {"jsonrpc", "2.0"},
        {"id", id},
        {"result", {{"error", {{"domain", "KsVaultlineErrorDomain"}, {"code", -1005}, {"description", "gone"}}}}}}
        .dump();
  });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), KsVaultlineErrorDomain);
  EXPECT_EQ(error->code(), -1005);
  EXPECT_EQ(error->localizedDescription(), "gone");
}

TEST_F(VLRemoteFaults, SilenceTimesOutNamingTheRequestAndStrayLinesAreIgnored) {
  open(timeouts(10.0, 0.2));
  auto [found, error] = vl_await<Outcome>([&](auto reply) {
    startLookup(platform, "a", reply);
    json request = provider.expect("items.lookup");
    provider.sendLine("this is no JSON and names no request");
    provider.sendLine(R"({"jsonrpc":"2.0","id":999,"result":{}})");  // an id nobody waits for
    provider.sendLine(R"({"jsonrpc":"2.0","method":"no.such.notification","params":{}})");
  });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), VLProviderProtocolErrorTimedOut);
  EXPECT_NE(error->localizedDescription().find("did not answer items.lookup (request 2) within 0.2 s"),
            std::string::npos)
      << error->localizedDescription();
  EXPECT_NE(error->localizedDescription().find("1 malformed line"), std::string::npos) << error->localizedDescription();

  // The session still works, and a provider that sends a request is told the host has none.
  provider.sendLine(R"({"jsonrpc":"2.0","id":"p1","method":"host.anything","params":{}})");
  json refusal = provider.next();
  EXPECT_EQ(refusal["id"], "p1");
  EXPECT_EQ(refusal["error"]["code"], -32601);
}

TEST_F(VLRemoteFaults, AProviderThatGoesFailsPendingAndLaterRequestsAtOnce) {
  open(timeouts(10.0, 30.0));  // a long time-out: nothing below may wait for it
  auto first = std::make_shared<std::promise<Outcome>>();
  auto second = std::make_shared<std::promise<Outcome>>();
  startLookup(platform, "a", [first](Outcome outcome) { first->set_value(outcome); });
  startLookup(platform, "b", [second](Outcome outcome) { second->set_value(outcome); });
  provider.expect("items.lookup");
  provider.expect("items.lookup");
  provider.hangUp();
  for (auto* pending : {first.get(), second.get()}) {
    auto future = pending->get_future();
    ASSERT_EQ(future.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    auto error = future.get().second;
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), VLProviderProtocolErrorGone);
    EXPECT_EQ(error->localizedDescription(), "The provider fake closed the connection.");
  }
  auto later = vl_await<Outcome>([&](auto reply) { startLookup(platform, "c", reply); }, 5);
  ASSERT_TRUE(later.second);
  EXPECT_EQ(later.second->code(), VLProviderProtocolErrorGone);

  // The platform's own synchronous checks fail the same way instead of blocking.
  VLErrorRef error;
  EXPECT_FALSE(platform->checkPromisedItemIsReachable(VLURL::fileURLWithPath("/tmp/x", false), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), VLProviderProtocolErrorGone);
  platform->close();
  auto closed = vl_await<Outcome>([&](auto reply) { startLookup(platform, "d", reply); }, 5);
  EXPECT_EQ(closed.second->code(), VLProviderProtocolErrorGone) << "the first reason stays";
}

// A provider process that stops talking: the request it was given fails at once with the
// reason, whether the process exits or only closes its output and goes on running (its end
// then never comes, so nothing may wait for it). Repeated, because a timing window here
// showed only on a loaded machine.
TEST(VLRemoteLaunch, AProviderProcessThatStopsTalkingFailsThePendingRequestAtOnce) {
  const std::string greeting = R"(read -r line; echo "{\"jsonrpc\":\"2.0\",\"id\":1,\"result\":{\"protocolVersion\":1,)"
                               R"(\"provider\":{\"identifier\":\"x\",\"providerIdentifier\":\"x\"}}}"; read -r line; )";
  struct Row {
    std::string ending;  // what the script does once the request has come
    std::string words;
  };
  const std::vector<Row> rows = {
      {"exec >&-; cat >/dev/null", "The provider sh closed its standard output but is still running."},
      // Told from the kernel's record of the process, not from how soon an exit follows: a
      // process still running when its output ends is said to run on, and an exit is an exit
      // however late it is reaped.
      {"exec >&-; sleep 0.1; exit 6", "The provider sh closed its standard output but is still running."},
      {"exit 5", "The provider sh exited with status 5."},
  };
  for (int round = 0; round < 5; ++round) for (const auto& row : rows) {
    auto platform = VLRemotePlatform::launch("sh -c '" + greeting + row.ending + "'", timeouts(10.0, 30.0));
    ASSERT_TRUE(platform) << row.ending;
    auto outcome = std::make_shared<std::promise<Outcome>>();
    startLookup(platform, "a", [outcome](Outcome reached) { outcome->set_value(reached); });
    auto future = outcome->get_future();
    // Waiting for an end that never comes took 4 s.
    ASSERT_EQ(future.wait_for(std::chrono::seconds(2)), std::future_status::ready) << row.ending;
    auto error = future.get().second;
    ASSERT_TRUE(error) << row.ending;
    EXPECT_EQ(error->code(), VLProviderProtocolErrorGone);
    EXPECT_EQ(error->localizedDescription(), row.words);
    platform->close();
  }
}

TEST(VLRemoteHandshake, EveryFailedGreetingIsAnExceptionWithTheReason) {
  struct Row {
    const char* fault;
    json answer;  // null: answer nothing
    std::string words;
    bool refusal = false;  // `answer` is a JSON-RPC error, whose words are quoted
  };
  json noProvider = {{"protocolVersion", 1}};
  json older = ScriptedProvider::standardGreeting();
  older["protocolVersion"] = 2;
  json badRevision = ScriptedProvider::standardGreeting();
  badRevision["platformRevision"] = "newest";
  const std::vector<Row> rows = {
      {"other version", older, "the provider speaks protocol version 2; this host speaks version 1"},
      {"no provider record", noProvider, "result: missing field \"provider\""},
      {"bad revision", badRevision, "result.platformRevision: expected \"current\" or \"older\""},
      {"silence", nullptr, "did not answer initialize (request 1) within 0.2 s"},
      {"refusal", {{"code", -32001}, {"message", "unsupported protocol version 1"}},
       "unsupported protocol version 1 (JSON-RPC error -32001)", true},
  };
  for (const auto& row : rows) {
    ScriptedProvider provider;
    auto opening = std::async(std::launch::async, [&] {
      return VLRemotePlatform::open(provider.transport(), timeouts(0.2, 1));
    });
    json request = provider.expect("initialize");
    EXPECT_EQ(request["params"]["protocolVersion"], 1);
    if (row.refusal) {
      provider.sendLine(json{{"jsonrpc", "2.0"}, {"id", request["id"]}, {"error", row.answer}}.dump());
    } else if (!row.answer.is_null()) {
      provider.answer(request, row.answer);
    }
    try {
      opening.get();
      ADD_FAILURE() << row.fault << ": the handshake passed";
    } catch (const VLProviderProtocolException& failure) {
      EXPECT_EQ(failure.code(), VLProviderProtocolErrorHandshakeFailed) << row.fault;
      EXPECT_NE(std::string(failure.what()).find(row.words), std::string::npos) << row.fault << ": " << failure.what();
    }
  }
}

TEST(VLRemoteLaunch, AProviderThatCannotStartOrDiesAtOnceIsNamedWithItsReason) {
  struct Row {
    std::string commandLine;
    int64_t code;
    std::string words;
  };
  // A script run through its interpreter is named after the script.
  const std::string script =
      (std::filesystem::temp_directory_path() / ("dying-provider-" + std::to_string(::getpid()) + ".sh")).string();
  std::ofstream(script) << "echo 'no settings file' >&2; exit 3\n";
  const std::vector<Row> rows = {
      {"sh -e " + script + " --verbose", VLProviderProtocolErrorHandshakeFailed,
       "The provider " + script.substr(script.rfind('/') + 1) + " exited with status 3"},
      {"/no/such/provider --flag", VLProviderProtocolErrorCannotStart,
       "cannot start the provider \"/no/such/provider\": No such file or directory"},
      {"'unterminated", VLProviderProtocolErrorCannotStart, "unterminated ' quote"},
      {"", VLProviderProtocolErrorCannotStart, "the command line is empty"},
      {"sh -c 'echo \"no settings file\" >&2; exit 3'", VLProviderProtocolErrorHandshakeFailed,
       "The provider sh exited with status 3; its last words on standard error: \u00abno settings file\u00bb"},
      {"sh -c 'kill -9 $$'", VLProviderProtocolErrorHandshakeFailed, "was killed by signal 9"},
  };
  for (const auto& row : rows) {
    try {
      VLRemotePlatform::launch(row.commandLine);
      ADD_FAILURE() << row.commandLine << ": it started";
    } catch (const VLProviderProtocolException& failure) {
      EXPECT_EQ(failure.code(), row.code) << row.commandLine;
      EXPECT_NE(std::string(failure.what()).find(row.words), std::string::npos) << failure.what();
    }
  }
  std::filesystem::remove(script);
  try {
    VLRemotePlatform::connectToSocket("/no/such/socket");
    ADD_FAILURE() << "connected";
  } catch (const VLProviderProtocolException& failure) {
    EXPECT_EQ(std::string(failure.what()),
              "cannot connect to the provider at unix:/no/such/socket: No such file or directory");
  }
}

TEST(VLRemoteLaunch, CommandLinesSplitLikeAShells) {
  using Words = std::vector<std::string>;
  EXPECT_EQ(VLRemoteChildProcess::splitCommandLine(R"(  a 'b c'  "d \"e\" \x" f\ g 'h'"i" )"),
            (Words{"a", "b c", "d \"e\" \\x", "f g", "hi"}));
  EXPECT_EQ(VLRemoteChildProcess::splitCommandLine("''"), (Words{""}));
  EXPECT_THROW(VLRemoteChildProcess::splitCommandLine("a\\"), VLException);
}

}  // namespace
