// The built vlvalidate program against providers in their own process: vlprovider-sim
// started by --provider exec: and reached as a daemon by --provider unix: gives the report
// that the built-in provider gives; a provider that cannot be started, exits or fails the
// handshake is exit status 4 with the reason; one that dies mid-run fails the remaining
// cases at once, naming it; one that spoils an answer fails the check that needed it at once,
// naming the fault; --protocol-log records the conversation.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "ChildProcess.h"
#include "ReportFiles.h"
#include "support/ProviderDaemon.h"

namespace {

using e2e::scratchFile;

// The choice that starts vlprovider-sim with `settings` as its arguments.
std::string execSim(const std::string& settings) {
  return std::string("exec:'") + VL_PROVIDER_SIM + "'" + (settings.empty() ? "" : " " + settings);
}

// Returns the processes that `parent` started, from /proc.
std::vector<pid_t> childrenOf(pid_t parent) {
  std::vector<pid_t> children;
  for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(parent) + "/task")) {
    std::ifstream in(task.path() / "children");
    for (pid_t child; in >> child;) children.push_back(child);
  }
  return children;
}

TEST(RemoteProvider, EitherTransportGivesTheReportOfTheProviderInProcess) {
  const std::string quirk = "case-sensitive-names";
  support::ProviderDaemon daemon(VL_PROVIDER_SIM, quirk);
  std::vector<std::string> choices = {"sim:" + quirk, execSim(quirk), "unix:" + daemon.path()};
  std::vector<nlohmann::json> reports;
  for (const auto& choice : choices) {
    auto result = e2e::run({"--provider", choice, "--json", scratchFile("parity.json")});
    EXPECT_EQ(result.status, 1) << choice << "\n" << result.out << result.err;  // the quirk fails some cases
    reports.push_back(e2e::readJson(scratchFile("parity.json")));
    EXPECT_EQ(reports.back()["provider"]["argument"], choice);
  }
  const auto inProcess = e2e::verdicts(reports[0]);
  EXPECT_NE(std::count_if(inProcess.begin(), inProcess.end(), [](auto& entry) { return entry.second == "failed"; }), 0);
  for (size_t i = 1; i < choices.size(); ++i) {
    SCOPED_TRACE(choices[i]);
    EXPECT_EQ(e2e::verdicts(reports[i]), inProcess);
    EXPECT_EQ(reports[i]["provider"]["name"], reports[0]["provider"]["name"]);
    EXPECT_EQ(reports[i]["validationProperties"], reports[0]["validationProperties"]);
  }

  // selftest starts the program anew for each row, with the row's settings.
  auto selftest = e2e::run({"selftest", "--provider", execSim(""), "--rows", quirk, "-j", "2"});
  EXPECT_EQ(selftest.status, 0) << selftest.out << selftest.err;
  EXPECT_NE(selftest.out.find("Self-test passed"), std::string::npos) << selftest.out;
}

TEST(RemoteProvider, AProviderThatCannotBeStartedOrGreetedIsExitStatus4) {
  const std::string wrongVersion = scratchFile("wrong-version.sh");
  std::ofstream(wrongVersion) << "#!/bin/sh\nread request\n"
                              << R"(echo '{"jsonrpc":"2.0","id":1,"result":{"protocolVersion":2,"provider":)"
                              << R"({"identifier":"x","providerIdentifier":"x"}}}')"
                              << "\nread request\n";
  std::filesystem::permissions(wrongVersion, std::filesystem::perms::owner_all);
  const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> rows = {
      {{"--provider", "exec:/nonexistent/provider"}, {"cannot start the provider", "No such file or directory"}},
      {{"--provider", "exec:sh -c 'echo no licence found >&2; exit 3'"},
       {"failed the handshake", "exited with status 3", "no licence found"}},
      {{"--provider", "exec:" + wrongVersion}, {"failed the handshake", "speaks protocol version 2"}},
      {{"eligibility", "--provider", "exec:" + wrongVersion}, {"speaks protocol version 2"}},
      {{"--provider", "unix:" + scratchFile("nobody-listens.sock")}, {"cannot connect", "No such file or directory"}},
  };
  for (const auto& [arguments, words] : rows) {
    SCOPED_TRACE(arguments.back());
    auto result = e2e::run(arguments);
    EXPECT_EQ(result.status, 4) << result.out << result.err;
    EXPECT_NE(result.err.find("vlvalidate: the provider could not be started or reached"), std::string::npos)
        << result.err;
    for (const auto& word : words) EXPECT_NE(result.err.find(word), std::string::npos) << result.err;
  }
}

TEST(RemoteProvider, AProviderThatDiesMidRunFailsTheRemainingCasesAtOnceNamingIt) {
  // Slow actions, so that cases are still to come when the provider is killed.
  e2e::Child child({"--provider", execSim("action-latency=100ms"), "--json", scratchFile("died.json")});
  ASSERT_TRUE(child.readUntil([](const std::string& out) { return out.find("\nPASSED") != std::string::npos; }));
  const auto providers = childrenOf(child.pid());
  ASSERT_EQ(providers.size(), 1u);
  ::kill(providers[0], SIGKILL);
  auto result = child.finish();
  EXPECT_EQ(result.status, 1) << result.out << result.err;

  // The cases before passed; from the first that did not, every one failed and says why. The
  // case running at the kill may have waited for an effect; each later one fails at once.
  const auto report = e2e::readJson(scratchFile("died.json"));
  size_t failed = 0;
  for (const auto& entry : report["cases"]) {
    if (!failed && entry["verdict"] == "passed") continue;
    SCOPED_TRACE(entry["id"].get<std::string>());
    EXPECT_EQ(entry["verdict"], "failed");
    EXPECT_NE(entry.dump().find("The provider vlprovider-sim was killed by signal 9"), std::string::npos) << entry;
    if (failed++) {
      EXPECT_LT(entry["runtime"].get<double>(), 4.0);
    }
  }
  EXPECT_GE(failed, 2u);
  EXPECT_EQ(report["summary"]["notRun"], 0);
}

// An invalid answer to items.root keeps the validation service from being asked: the run
// names that answer and its field as the cause (not a refusal), and shows the properties it
// never obtained as unknown rather than as their defaults.
TEST(RemoteProvider, AnInvalidRootItemIsNamedAsTheCauseOfIneligibility) {
  const std::string proxy = std::string(VL_TEST_PROVIDERS_DIR) + "/mangling_proxy.py";
  auto result = e2e::run({"--provider", "exec:python3 '" + proxy + "' root-count '" + VL_PROVIDER_SIM + "'",
                          "--filter", "VLContainerValidation.ImportAddsToContainer/RootContainer"});
  EXPECT_EQ(result.status, 3) << result.out << result.err;
  for (const char* words : {"  answer to items.root", "result.item.childItemCount: expected an integer",
                            "hasNoWorkingSet         unknown", "eligibleForValidation   unknown",
                            "Its answers broke the provider protocol"}) {
    EXPECT_NE(result.out.find(words), std::string::npos) << words << " in " << result.out;
  }
  EXPECT_EQ(result.out.find("refused validation"), std::string::npos) << result.out;
  EXPECT_EQ(result.out.find("hasNoWorkingSet         yes"), std::string::npos) << result.out;
}

// A subscription answer with a mistyped field, or a line that is not UTF-8: the check that
// waited on that collection fails at once with the fault's words (no time-out), the run logs an
// [ERROR], the trace has the fault, and the protocol log holds the spoiled line.
TEST(RemoteProvider, AnInvalidAnswerFailsTheCheckAtOnceNamingTheFault) {
  const std::vector<std::pair<std::string, std::vector<std::string>>> rows = {
      {"mistyped", {"documentSize: expected an integer", "is not valid"}},
      {"not-utf8", {"is malformed", "UTF-8"}},
  };
  for (const auto& [mode, words] : rows) {
    SCOPED_TRACE(mode);
    const std::string proxy = std::string(VL_TEST_PROVIDERS_DIR) + "/mangling_proxy.py";
    const std::string log = scratchFile(mode + ".protocol.jsonl");
    auto result = e2e::run({"--provider", "exec:python3 '" + proxy + "' " + mode + " '" + VL_PROVIDER_SIM + "'",
                            "--filter", "VLContainerValidation.ImportAddsToContainer/RootContainer", "--json",
                            scratchFile(mode + ".json"), "--protocol-log", log});
    EXPECT_EQ(result.status, 1) << result.out << result.err;
    EXPECT_NE((result.out + result.err).find("[ERROR]"), std::string::npos) << result.out << result.err;
    const auto report = e2e::readJson(scratchFile(mode + ".json"));
    ASSERT_EQ(report["cases"].size(), 1u);
    const auto& entry = report["cases"][0];
    EXPECT_EQ(entry["verdict"], "failed");
    EXPECT_LT(entry["runtime"].get<double>(), 4.0) << "the check waited out its time-out";
    const std::string text = entry.dump();
    EXPECT_EQ(text.find("Timed out"), std::string::npos) << text;
    EXPECT_NE(text.find("ended with an error before the event came"), std::string::npos) << text;
    EXPECT_NE(text.find("protocol-fault"), std::string::npos) << "the trace names the fault";
    for (const auto& word : words) EXPECT_NE(text.find(word), std::string::npos) << word << " in " << text;

    // One JSON object per line, both directions, the spoiled line kept as text when not JSON.
    std::ifstream in(log);
    size_t lines = 0, toProvider = 0, malformed = 0;
    for (std::string line; std::getline(in, line); ++lines) {
      auto record = nlohmann::json::parse(line);
      EXPECT_TRUE(record["t"].is_number()) << line;
      toProvider += record["direction"] == "to-provider";
      malformed += record.contains("malformed");
    }
    EXPECT_GT(lines, 6u);
    EXPECT_GT(toProvider, 2u);
    EXPECT_EQ(malformed, mode == "not-utf8" ? 1u : 0u);
  }
}

}  // namespace
