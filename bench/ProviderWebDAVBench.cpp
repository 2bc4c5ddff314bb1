// vlprovider-webdav against Apache httpd (started by scripts/webdav-server, stopped at exit):
// a full strict run with 1 s polls and -j 8, and the bridge's resident memory over many runs
// served by one bridge process. The goals: a run ≤ 20 s, and memory that stays flat.
//
//   build-release/bench/ProviderWebDAVBench --benchmark_filter=FullRun
//   build-release/bench/ProviderWebDAVBench --benchmark_filter=Memory   (1,000 runs)
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>

#include "Choice/VLProviderChoice.h"
#include "suites/VLStandardSuites.h"
#include "vlvalidate/VLCaseScheduler.h"
#include "vlvalidate/VLEligibility.h"

namespace {

// Apache httpd for the whole program: started on first use, stopped when the program ends.
class ApacheServer {
 public:
  static const std::string& url() {
    static ApacheServer server;
    return server.url_;
  }

 private:
  ApacheServer() {
    FILE* out = ::popen(VL_WEBDAV_SERVER " start apache", "r");
    char line[512];
    while (out && std::fgets(line, sizeof line, out)) {
      std::string text(line);
      if (!text.empty() && text.back() == '\n') text.pop_back();
      if (text.rfind("URL=", 0) == 0) url_ = text.substr(4);
      if (text.rfind("STATE=", 0) == 0) state_ = text.substr(6);
    }
    if (!out || ::pclose(out) != 0 || url_.empty()) std::abort();
  }
  ~ApacheServer() {
    std::string stop = std::string(VL_WEBDAV_SERVER) + " stop '" + state_ + "'";
    if (std::system(stop.c_str()) != 0) std::fprintf(stderr, "could not stop the server at %s\n", state_.c_str());
  }
  std::string url_, state_;
};

const VLInstalledProvider& installed() {
  static std::optional<VLInstalledProvider> current;
  if (!current) {
    VLRegisterStandardSuites();
    current = VLProviderChoice::parse(std::string("exec:'") + VL_PROVIDER_WEBDAV + "' --poll 1 " + ApacheServer::url())
                  .install();
    VLEligibility::decide(current->provider);
  }
  return *current;
}

// The bridge's resident memory in KiB: the child of this process that runs it.
long bridgeResidentKiB() {
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream stat(entry.path() / "stat");
    std::string pid, name, state;
    long parent = 0;
    if (!(stat >> pid >> name >> state >> parent) || parent != ::getpid() || name.find("vlprovider-web") == std::string::npos)
      continue;
    std::ifstream status(entry.path() / "status");
    for (std::string line; std::getline(status, line);)
      if (line.rfind("VmRSS:", 0) == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
  }
  return -1;
}

// One strict run of every case; false when a case did not pass.
bool runAll(int jobs) {
  std::vector<std::shared_ptr<VLValidationCase>> planned;
  for (const auto& [suite, list] : VLValidationCase::allValidationsForProvider(installed().provider))
    planned.insert(planned.end(), list.begin(), list.end());
  size_t notPassed = 0;
  VLCaseScheduler::Options options;
  options.jobs = jobs;
  options.caseOptions.strict = true;
  auto scheduler = VLCaseScheduler::make(planned, options, [](size_t) {},
                                         [&](size_t, std::vector<VLCaseOutcome> attempts) {
                                           notPassed += attempts.back().result != VLValidationResultPassed;
                                         });
  scheduler->start();
  scheduler->wait();
  return notPassed == 0;
}

void FullRunAgainstApache(benchmark::State& state) {
  installed();
  for (auto _ : state) {
    if (!runAll(static_cast<int>(state.range(0)))) {
      state.SkipWithError("a case did not pass");
      return;
    }
  }
  state.counters["bridge_rss_kib"] = static_cast<double>(bridgeResidentKiB());
}
BENCHMARK(FullRunAgainstApache)->ArgName("jobs")->Arg(8)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// Memory after the first 10 runs (caches, allocator arenas warmed) against memory at the end.
void MemoryOverRepeatedRuns(benchmark::State& state) {
  installed();
  long warm = -1;
  int runs = 0;
  for (auto _ : state) {
    if (!runAll(8)) {
      state.SkipWithError("a case did not pass");
      return;
    }
    if (++runs == 10) warm = bridgeResidentKiB();
  }
  state.counters["rss_after_10_kib"] = static_cast<double>(warm);
  state.counters["rss_at_end_kib"] = static_cast<double>(bridgeResidentKiB());
}
BENCHMARK(MemoryOverRepeatedRuns)->Iterations(1000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
