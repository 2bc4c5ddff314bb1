// Round trips of the provider protocol to vlprovider-sim in its own process: one request and
// its answer (items.root, a full item), over standard input and output and over a Unix
// socket. Each reports the median and 99th percentile of single round trips as counters.
//
// Run from the repository root: scripts/bench --benchmark_filter=RoundTrip
#include <benchmark/benchmark.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <vector>

#include "Remote/VLRemotePlatform.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

void measureRoundTrips(benchmark::State& state, const std::shared_ptr<VLRemotePlatform>& platform) {
  std::vector<double> micros;
  for (auto _ : state) {
    auto start = Clock::now();
    auto answer = platform->session()->requestAndWait("items.root", nlohmann::json::object());
    micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    if (answer.error) state.SkipWithError(answer.error->localizedDescription().c_str());
  }
  if (micros.empty()) return;
  std::sort(micros.begin(), micros.end());
  state.counters["median_us"] = micros[micros.size() / 2];
  state.counters["p99_us"] = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
}

void BM_RoundTripStdio(benchmark::State& state) {
  auto platform = VLRemotePlatform::launch(VL_PROVIDER_SIM);
  measureRoundTrips(state, platform);
  platform->close();
}
BENCHMARK(BM_RoundTripStdio)->Iterations(5000)->UseRealTime();

void BM_RoundTripSocket(benchmark::State& state) {
  std::string path =
      (std::filesystem::temp_directory_path() / ("vlprovider-bench-" + std::to_string(::getpid()) + ".sock")).string();
  int errors[2];
  if (::pipe(errors) != 0) return state.SkipWithError("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, errors[1], 2);
  std::vector<std::string> words = {VL_PROVIDER_SIM, "--socket", path};
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  ::posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(errors[1]);
  std::string said;  // the server says when it listens
  char byte;
  while (said.find("listening on") == std::string::npos && ::read(errors[0], &byte, 1) == 1) said += byte;
  ::close(errors[0]);
  {
    auto platform = VLRemotePlatform::connectToSocket(path);
    measureRoundTrips(state, platform);
    platform->close();
  }
  ::kill(pid, SIGTERM);
  ::waitpid(pid, nullptr, 0);
}
BENCHMARK(BM_RoundTripSocket)->Iterations(5000)->UseRealTime();

}  // namespace
