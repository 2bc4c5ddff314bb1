// The live UI's server over real HTTP (httplib's client): the guard on the wire (the URL's
// token traded once for a session, Host, Origin, content type, sizes), bad and disallowed
// choices and hostile bodies answered in the page's words while the
// server keeps going, and a run against a quirk whose verdicts and expectations arrive as
// server-sent events, with one run at a time, re-running one case and the reports.
// Also `vlvalidate serve` itself: the URL it prints, the --listen warning and Ctrl-C.
#include <gtest/gtest.h>
#include <httplib.h>

#include <condition_variable>
#include <csignal>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "ChildProcess.h"
#include "vlvalidate/VLLiveServer.h"
#include "vlvalidate/VLReporterRegistry.h"

namespace {

using nlohmann::json;

constexpr const char* kToken = "feedfacefeedfacefeedfacefeedfacefeedfacefeedfacefeedfacefeedface";
// The quirk makes every rename fail; the second pattern adds cases that pass.
constexpr const char* kQuirk = "sim:rename-refused";
constexpr const char* kFilter = "VLAttributeValidation.Rename/*:VLContainerValidation.ItemCount/*";

// A server on a free loopback port, serving on a thread of its own until the test ends.
class LiveServer {
 public:
  explicit LiveServer(const std::vector<std::string>& providers = {kQuirk})
      : server_(VLLiveServer::make({.address = "127.0.0.1", .port = 0, .providers = parsed(providers), .token = kToken})) {
    thread_ = std::thread([this] { server_->serve(); });
    // As the page does first: the URL's token for the session's credential.
    auto opened = httplib::Client("127.0.0.1", port()).Post("/api/session", json{{"token", kToken}}.dump(), "application/json");
    if (opened && opened->status == 200) session_ = json::parse(opened->body).value("session", "");
    EXPECT_FALSE(session_.empty()) << (opened ? opened->body : "no answer");
  }
  ~LiveServer() {
    server_->stop();
    thread_.join();
  }
  static std::vector<VLProviderChoice> parsed(const std::vector<std::string>& texts) {
    std::vector<VLProviderChoice> choices;
    for (const auto& text : texts) choices.push_back(VLProviderChoice::parse(text));
    return choices;
  }
  int port() const { return server_->port(); }
  std::string origin() const { return "http://127.0.0.1:" + std::to_string(port()); }
  const std::string& session() const { return session_; }
  // A client that carries the session's credential, as the page's own requests do.
  httplib::Client client() const {
    httplib::Client client("127.0.0.1", port());
    client.set_default_headers({{"Authorization", "Bearer " + session_}});
    return client;
  }
  httplib::Result post(const std::string& path, const json& body) const {
    return client().Post(path.c_str(), body.dump(), "application/json");
  }

 private:
  std::unique_ptr<VLLiveServer> server_;
  std::thread thread_;
  std::string session_;
};

// Reads /api/events on a thread of its own and keeps each event (name and JSON) in order.
class EventReader {
 public:
  explicit EventReader(const LiveServer& server) : client_(server.client()) {
    client_.set_read_timeout(std::chrono::minutes(1));  // between events the server is quiet for seconds
    thread_ = std::thread([this] {
      client_.Get("/api/events", [this](const char* data, size_t length) {
        std::lock_guard<std::mutex> lock(mutex_);
        buffer_.append(data, length);
        for (size_t end; (end = buffer_.find("\n\n")) != std::string::npos; buffer_.erase(0, end + 2)) {
          std::string name, payload;
          std::istringstream lines(buffer_.substr(0, end));
          for (std::string line; std::getline(lines, line);) {
            if (line.rfind("event: ", 0) == 0) name = line.substr(7);
            if (line.rfind("data: ", 0) == 0) payload = line.substr(6);
          }
          if (!name.empty()) events_.push_back({name, json::parse(payload)});
        }
        changed_.notify_all();
        return true;
      });
    });
  }
  ~EventReader() {
    client_.stop();
    thread_.join();
  }

  // Waits (at most a minute) until the `count`-th event named `name` since `from` has come;
  // returns every event so far.
  std::vector<std::pair<std::string, json>> waitFor(const std::string& name, size_t count = 1, size_t from = 0) {
    std::unique_lock<std::mutex> lock(mutex_);
    auto seen = [&] {
      size_t found = 0;
      for (size_t i = from; i < events_.size(); ++i) found += events_[i].first == name;
      return found >= count;
    };
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::minutes(1), seen)) << "no \"" << name << "\" event came";
    return events_;
  }

 private:
  httplib::Client client_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string buffer_;                               // guarded by mutex_
  std::vector<std::pair<std::string, json>> events_;  // guarded by mutex_
};

std::string errorOf(const httplib::Result& result) {
  return result ? json::parse(result->body, nullptr, false).value("error", std::string()) : "no answer";
}

TEST(LiveServer, TheGuardHoldsOnTheWire) {
  LiveServer server;
  httplib::Client bare("127.0.0.1", server.port());
  EXPECT_EQ(bare.Get("/api/choices")->status, 401);
  EXPECT_EQ(bare.Get((std::string("/api/choices?token=") + kToken).c_str())->status, 401);
  EXPECT_EQ(bare.Get("/api/choices", {{"Authorization", std::string("Bearer ") + kToken}})->status, 401)
      << "the URL's token is no credential";
  EXPECT_EQ(bare.Get("/api/choices", {{"Cookie", "session=" + server.session()}})->status, 401) << "nor is a cookie";
  // The fixture has spent the URL's token: a copy of the address opens nothing now.
  auto again = bare.Post("/api/session", json{{"token", kToken}}.dump(), "application/json");
  ASSERT_TRUE(again);
  EXPECT_EQ(again->status, 401);
  EXPECT_NE(errorOf(again).find("used already"), std::string::npos) << again->body;
  EXPECT_EQ(again->get_header_value("Set-Cookie"), "");

  auto client = server.client();
  auto page = client.Get("/");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_NE(page->body.find("live.js"), std::string::npos);
  const std::string policy = page->get_header_value("Content-Security-Policy");
  EXPECT_NE(policy.find("default-src 'self'"), std::string::npos) << policy;
  EXPECT_NE(policy.find("connect-src 'self'"), std::string::npos) << policy;
  EXPECT_EQ(client.Get("/live.js")->status, 200);
  EXPECT_EQ(client.Get("/README.txt")->status, 404);

  EXPECT_EQ(client.Get("/api/choices")->status, 200);
  EXPECT_EQ(client.Get("/", {{"Host", "attacker.example:" + std::to_string(server.port())}})->status, 403);
  EXPECT_EQ(client.Post("/api/stop", {{"Origin", "http://attacker.example"}}, "{}", "application/json")->status, 403);
  EXPECT_EQ(client.Post("/api/stop", {{"Origin", server.origin()}}, "{}", "application/json")->status, 409);
  EXPECT_EQ(client.Post("/api/run", "provider=sim", "application/x-www-form-urlencoded")->status, 415);
}

// Bad choices, hostile bodies and providers a page may not run: each answered 4xx in words
// that name the fault, never echoing a long body, and the server goes on. (Bodies too deep, too
// large or of the wrong type for /api/run are in HostileInput's matrix.)
TEST(LiveServer, BadAndHostileRequestsAreRefusedAndTheServerGoesOn) {
  LiveServer server({kQuirk, "exec:/bin/true"});
  // Deep, and long, but inside the body limit.
  const std::string deep = std::string(30000, '[') + std::string(30000, ']');
  const std::string longText(50000, 'x');
  auto run = [](const json& body) { return body.dump(); };
  struct Bad {
    std::string path;
    std::string body;
    int status;
    const char* words;
  } cases[] = {
      {"/api/run", run({{"provider", "sim:no-such-quirk"}}), 400, "no-such-quirk"},
      {"/api/run", run({{"provider", "exec:"}}), 400, "command"},
      {"/api/run", run({{"provider", "unix:"}}), 400, "path"},
      {"/api/run", run({{"provider", "sim"}, {"filter", "NoSuchSuite.*"}}), 400, "NoSuchSuite"},
      {"/api/run", run({{"provider", "sim:validation-refused"}}), 422, "not eligible"},
      {"/api/run", run({{"jobs", 0}}), 400, "jobs"},
      {"/api/run", run({{"timeout", "soon"}}), 400, "timeout"},
      {"/api/rerun", R"({"id": )" + deep + "}", 400, "deeper than"},
      {"/api/run", deep, 400, "deeper than"},
      {"/api/run", R"({"provider": "exec:/bin/sh -c 'touch /tmp/owned'"})", 403, "--provider"},
      {"/api/run", R"({"provider": "unix:/tmp/some.sock"})", 403, "--provider"},
      {"/api/run", R"({"provider": "exec:/bin/true --and-more"})", 403, "--provider"},
      {"/api/run", run({{"provider", longText}}), 400, ""},
      {"/api/run", run({{"filter", longText}}), 400, ""},
      {"/api/session", deep, 401, "used already"},
  };
  for (const auto& each : cases) {
    const std::string shown = each.body.substr(0, 60);
    auto answer = server.client().Post(each.path.c_str(), each.body, "application/json");
    ASSERT_TRUE(answer) << each.path << " " << shown;
    EXPECT_EQ(answer->status, each.status) << shown << ": " << answer->body.substr(0, 300);
    EXPECT_NE(errorOf(answer).find(each.words), std::string::npos) << shown << ": " << answer->body;
    if (each.body.size() > 1000) {
      EXPECT_LT(answer->body.size(), 1000u) << shown;
    }
  }
  // The allowed exec: provider is let through, however its words are quoted (and then fails
  // its handshake: /bin/true says nothing).
  for (const char* same : {"exec:/bin/true", "exec:'/bin/true'", "exec:  \"/bin/true\" "}) {
    auto allowed = server.post("/api/run", {{"provider", same}});
    ASSERT_TRUE(allowed);
    EXPECT_EQ(allowed->status, 502) << same << ": " << allowed->body;
  }
  auto choices = server.client().Get("/api/choices");
  ASSERT_TRUE(choices);
  EXPECT_EQ(choices->status, 200) << "the server goes on";
  const auto document = json::parse(choices->body);
  EXPECT_EQ(document["defaultProvider"], kQuirk);
  EXPECT_EQ(document["allowedProviders"], json::array({kQuirk, "exec:/bin/true"}));
  bool listed = false;
  for (const auto& quirk : document["quirks"]) listed = listed || quirk["name"] == "rename-refused";
  EXPECT_TRUE(listed) << choices->body;
  EXPECT_EQ(server.client().Get("/api/report.json")->status, 404) << "no run has started";
}

TEST(LiveServer, ARunArrivesLiveAndItsReportsDownload) {
  LiveServer server;
  EventReader reader(server);
  auto started = server.post("/api/run", {{"provider", kQuirk}, {"filter", kFilter}, {"jobs", 2}, {"timeout", 1}});
  ASSERT_TRUE(started);
  ASSERT_EQ(started->status, 202) << started->body;
  auto again = server.post("/api/run", {{"provider", "sim"}});
  EXPECT_TRUE(again->status == 409 || again->status == 202) << again->body;  // 202 only if it had ended
  if (again->status == 409) {
    EXPECT_NE(errorOf(again).find("already"), std::string::npos);
  }

  auto events = reader.waitFor("finished");
  ASSERT_EQ(events.front().first, "run");
  const json planned = events.front().second["planned"];
  ASSERT_GE(planned.size(), 2u);
  std::map<size_t, std::string> verdicts;
  std::set<size_t> sawFailedExpectation;
  for (const auto& [name, data] : events) {
    if (name == "expectation" && data["result"] == "failed") sawFailedExpectation.insert(data["order"].get<size_t>());
    if (name == "expectation") {
      EXPECT_GT(data["sentAt"].get<double>(), 0);
    }
    if (name == "case") {
      const size_t order = data["order"];
      verdicts[order] = data["case"]["verdict"];
      // The settled expectations came live, before their case's record.
      if (verdicts[order] == "failed") {
        EXPECT_TRUE(sawFailedExpectation.count(order)) << data["case"]["id"];
      }
    }
  }
  ASSERT_EQ(verdicts.size(), planned.size());
  for (const auto& [order, verdict] : verdicts) {
    const std::string id = planned[order];
    EXPECT_EQ(verdict, id.rfind("VLAttributeValidation.Rename", 0) == 0 ? "failed" : "passed") << id;
  }

  auto report = server.client().Get("/api/report.json");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->status, 200);
  EXPECT_NE(report->get_header_value("Content-Disposition").find("attachment"), std::string::npos);
  const auto document = json::parse(report->body);
  EXPECT_EQ(document["provider"]["argument"], kQuirk);
  EXPECT_EQ(document["cases"].size(), planned.size());
  EXPECT_GT(document["summary"]["failed"].get<int>(), 0);
  EXPECT_NE(server.client().Get("/api/report.xml")->body.find("<testsuites"), std::string::npos);
  auto page = server.client().Get("/api/report.html");
  EXPECT_EQ(page->status, 200);
  EXPECT_NE(page->body.find("VLReportView"), std::string::npos);
  // Every file format of the registry is offered to the page and downloads as its row renders it.
  const auto offered = json::parse(server.client().Get("/api/choices")->body)["reports"];
  size_t formats = 0;
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    ASSERT_LT(formats, offered.size()) << row.name;
    const auto& entry = offered[formats++];
    EXPECT_EQ(entry["name"], row.name);
    EXPECT_EQ(entry["file"], row.downloadName);
    auto download = server.client().Get(entry["url"].get<std::string>().c_str());
    ASSERT_TRUE(download) << row.name;
    EXPECT_EQ(download->status, 200) << row.name;
    EXPECT_EQ(download->get_header_value("Content-Type"), row.mediaType);
    EXPECT_NE(download->get_header_value("Content-Disposition").find(row.downloadName), std::string::npos);
  }
  EXPECT_EQ(formats, offered.size());

  // One case again: its record is replaced, the others stay.
  const std::string again_id = planned[0];
  auto rerun = server.post("/api/rerun", {{"id", again_id}});
  ASSERT_EQ(rerun->status, 202) << rerun->body;
  events = reader.waitFor("finished", 1, events.size());
  EXPECT_EQ(server.post("/api/rerun", {{"id", "No.Such/Case"}})->status, 404);
  const auto after = json::parse(server.client().Get("/api/report.json")->body);
  EXPECT_EQ(after["cases"].size(), planned.size());
  EXPECT_EQ(after["cases"][0]["id"], again_id);
}

TEST(LiveServer, ServePrintsItsAddressWarnsOffLoopbackAndStopsOnInterrupt) {
  for (const char* listen : {"", "127.0.0.1", "0.0.0.0"}) {
    std::vector<std::string> arguments = {"serve", "--port", "0"};
    if (*listen) arguments.insert(arguments.end(), {"--listen", listen});
    e2e::Child child(arguments);
    ASSERT_TRUE(child.readUntil([](const std::string& out) { return out.find("Ctrl-C") != std::string::npos; }));
    child.signal(SIGINT);
    const auto result = child.finish();
    EXPECT_EQ(result.status, 0) << listen << result.err;
    EXPECT_NE(result.out.find("http://127.0.0.1:"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("/?token="), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("stopped"), std::string::npos) << result.out;
    const bool warned = result.err.find("warning: listening on") != std::string::npos;
    EXPECT_EQ(warned, std::string(listen) == "0.0.0.0") << listen << ": " << result.err;
  }
}

}  // namespace
