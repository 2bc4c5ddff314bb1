// Hand-made input against every reader of outside JSON in the runner: one matrix of crafted
// documents over `report`, `merge`, `--baseline` and the live UI's /api/run, each of which
// must refuse with exit 2 (or a 4xx answer) naming the file and the fault, never a signal.
// And report paths: a FIFO or the same file named twice is refused before the run, and a
// write that fails leaves the earlier report whole.
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "ChildProcess.h"
#include "ReportFiles.h"
#include "Core/VLException.h"
#include "vlvalidate/VLLiveServer.h"
#include "vlvalidate/VLReportFile.h"
#include "vlvalidate/VLReportReader.h"

namespace {

using e2e::readText;

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* kHostileToken = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";

// A private scratch folder (mkdtemp, mode 0700), removed at the end.
class Scratch {
 public:
  Scratch() {
    std::string pattern = (fs::temp_directory_path() / "vl-hostile-XXXXXX").string();
    EXPECT_NE(::mkdtemp(pattern.data()), nullptr);
    path_ = pattern;
  }
  ~Scratch() { fs::remove_all(path_); }
  std::string file(const std::string& name) const { return (path_ / name).string(); }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
  }
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

// A report with `cases` (JSON text) and `extra` members.
std::string reportWith(const std::string& cases, const std::string& extra = "") {
  return R"({"format": "vlvalidate-report", "formatVersion": 3, )" + extra + R"("cases": )" + cases + "}";
}

std::string nested(size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

struct Crafted {
  const char* name;
  std::string report;                  // the file given to report, merge and --baseline
  const char* words;                   // what their message says
  std::optional<std::string> runBody = std::nullopt;  // the same fault in a body for /api/run
  int runStatus = 400;
  const char* runWords = "";
};

TEST(HostileInput, EveryReaderRefusesCraftedJsonNamingTheFault) {
  Scratch scratch;
  const std::string attempt = R"({"verdict": "passed", "expectations": [], "trace": {"records": 5}})";
  const std::vector<Crafted> rows = {
      {"nested 100,000 deep", reportWith("[]", R"("x": )" + nested(100000) + ", "), "deeper than 256",
       R"({"provider": )" + nested(30000) + "}", 400, "deeper than 256"},
      {"a case with no members", reportWith("[{}]"), "cases[0].id is missing"},
      {"format not a string", R"({"format": 7, "formatVersion": 3, "cases": []})", "is not a vlvalidate report",
       R"({"provider": 7})", 400, "\"provider\" has the wrong type"},
      {"a verdict that is a list", reportWith(R"([{"id": "A", "verdict": ["passed"]}])"),
       "cases[0].verdict is array, not a string", R"({"strict": ["yes"]})", 400, "\"strict\" has the wrong type"},
      {"attempts that are no list", reportWith(R"([{"id": "A", "suite": "S", "attempts": {}}])"),
       "cases[0].attempts is object, not an array"},
      {"trace records that are a number",
       reportWith(R"([{"id": "A", "suite": "S", "verdict": "passed", "attempts": [)" + attempt + "]}]"),
       "cases[0].attempts[0].trace.records is number"},
      {"a negative trace limit", reportWith("[]", R"("options": {"traceLimit": -1}, )"),
       "options.traceLimit is number, not a whole number of 0 or more"},
      {"summary that is a string", reportWith("[]", R"("summary": "all good", )"), "summary is string"},
      {"not JSON", "{\"format\": \"vlvalidate-report\", \"cases\": [", "is not JSON", "{\"provider\": ", 400,
       "is not JSON"},
      {"larger than any report", reportWith("[]") + std::string(VLReportReader::kLargestReport, ' '),
       "larger than 64 MiB", std::string(VLLiveServer::kLargestBody + 1, ' '), 413, ""},
  };

  auto server = VLLiveServer::make({.address = "127.0.0.1", .port = 0, .providers = {}, .token = kHostileToken});
  std::thread serving([&] { server->serve(); });
  httplib::Client client("127.0.0.1", server->port());
  auto opened = client.Post("/api/session", json{{"token", kHostileToken}}.dump(), "application/json");
  ASSERT_TRUE(opened && opened->status == 200);
  client.set_default_headers({{"Authorization", "Bearer " + json::parse(opened->body)["session"].get<std::string>()}});

  for (size_t i = 0; i < rows.size(); ++i) {
    const auto& row = rows[i];
    const std::string file = scratch.write("crafted-" + std::to_string(i) + ".json", row.report);
    const std::vector<std::vector<std::string>> commands = {
        {"report", file, "--html", scratch.file("out.html")},
        {"merge", file, "--json", scratch.file("out.json")},
        {"--provider", "sim", "--filter", "VLContainerValidation.ItemCount/*", "--baseline", file},
    };
    for (const auto& arguments : commands) {
      const auto result = e2e::run(arguments);
      EXPECT_EQ(result.status, 2) << row.name << " / " << arguments[0] << ": " << result.err;
      EXPECT_NE(result.err.find(file), std::string::npos) << row.name << " / " << arguments[0] << ": " << result.err;
      EXPECT_NE(result.err.find(row.words), std::string::npos) << row.name << " / " << arguments[0] << ": " << result.err;
    }
    EXPECT_FALSE(fs::exists(scratch.file("out.html")) || fs::exists(scratch.file("out.json"))) << row.name;
    if (!row.runBody) continue;
    auto answer = client.Post("/api/run", *row.runBody, "application/json");
    ASSERT_TRUE(answer) << row.name;
    EXPECT_EQ(answer->status, row.runStatus) << row.name << ": " << answer->body.substr(0, 300);
    const auto said = json::parse(answer->body, nullptr, false);
    const std::string error = said.is_object() ? said.value("error", "") : answer->body;
    EXPECT_NE(error.find(row.runWords), std::string::npos) << row.name << ": " << answer->body.substr(0, 300);
  }
  server->stop();
  serving.join();
}

TEST(HostileInput, ReportPathsAreCheckedBeforeTheRun) {
  Scratch scratch;
  ASSERT_EQ(::mkfifo(scratch.file("fifo").c_str(), 0600), 0);
  scratch.write("same.json", "{}");
  fs::create_symlink(scratch.file("same.json"), scratch.file("link.json"));
  const std::string same = scratch.file("same.json");
  const std::string dotted = (scratch.path() / "." / "same.json").string();
  struct Row {
    std::vector<std::string> arguments;
    const char* words;
  } rows[] = {
      {{"--json", scratch.file("fifo")}, "is a FIFO, not a regular file"},
      {{"--junit", "/dev/null"}, "is a device, not a regular file"},
      {{"--json", same, "--html", dotted}, "name the same file"},
      {{"--json", same, "--report", "junit=" + scratch.file("link.json")}, "name the same file"},
      {{"--json", scratch.file("new.json"), "--junit", (scratch.path() / "." / "new.json").string()},
       "name the same file"},
  };
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"--provider", "sim", "--filter", "VLContainerValidation.ItemCount/*"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const auto result = e2e::run(arguments);
    EXPECT_EQ(result.status, 2) << row.arguments[1] << ": " << result.err;
    EXPECT_NE(result.err.find(row.words), std::string::npos) << row.arguments[1] << ": " << result.err;
    EXPECT_EQ(result.out.find("PASSED"), std::string::npos) << "refused before the run";
  }
  const auto merge = e2e::run({"merge", same, "--json", same, "--html", dotted});
  EXPECT_EQ(merge.status, 2);
  EXPECT_NE(merge.err.find("name the same file"), std::string::npos) << merge.err;
  EXPECT_EQ(readText(same), "{}");
}

// A write cut short (the file size limit stands in for a full disk): the earlier report is
// whole, and nothing is left beside it.
TEST(HostileInput, AFailedWriteLeavesTheEarlierReportWhole) {
  Scratch scratch;
  const std::string target = scratch.write("report.json", "the earlier report");
  ::chmod(target.c_str(), 0640);
  const VLReportFile file(target, "--json");
  file.write(std::string(1000, 'a'));
  EXPECT_EQ(readText(target), std::string(1000, 'a'));
  struct stat status{};
  ASSERT_EQ(::stat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u) << "the replaced file keeps its mode";

  rlimit saved{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
  auto previous = std::signal(SIGXFSZ, SIG_IGN);
  rlimit small = saved;
  small.rlim_cur = 4096;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  bool failed = false;
  try {
    file.write(std::string(100000, 'b'));
  } catch (const VLException& error) {
    failed = true;
    EXPECT_NE(std::string(error.what()).find("unchanged"), std::string::npos) << error.what();
  }
  ::setrlimit(RLIMIT_FSIZE, &saved);
  std::signal(SIGXFSZ, previous);
  EXPECT_TRUE(failed);
  EXPECT_EQ(readText(target), std::string(1000, 'a'));
  size_t files = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(scratch.path())) ++files;
  EXPECT_EQ(files, 1u) << "no temporary file is left behind";
}

}  // namespace
