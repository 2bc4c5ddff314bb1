// Event stream and matching costs: appending with checks waiting, the wake-up latency of a
// waiting check, and the matcher's cost per candidate.
//
// Run from the repository root (Release):
//   cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release &&
//   ninja -C build-release EventStreamBench && build-release/bench/EventStreamBench
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "Dispatch/VLSemaphore.h"
#include "Validations/VLEventStream.h"
#include "Validations/VLExpectedEvent.h"

namespace {

using Clock = std::chrono::steady_clock;

VLItemRef makeItem(const std::string& identifier, const std::string& filename) {
  VLItemAttributes a;
  a.providerIdentifier = "com.example.provider";
  a.itemIdentifier = identifier;
  a.parentItemIdentifier = "parent";
  a.filename = filename;
  a.displayName = filename;
  a.typeIdentifier = "public.plain-text";
  a.documentSize = 5;
  a.lastUsedDate = VLDate(1700000000);
  a.favoriteRank = 3;
  a.downloaded = true;
  a.tags = {VLTag::make("red", 6)};
  return VLItem::make(std::move(a));
}

// Appending with N checks waiting that never match, so every event runs N predicates.
void BM_AddEvent(benchmark::State& state) {
  const int waiting = static_cast<int>(state.range(0));
  auto stream = VLEventStream::make();
  stream->addEvent(VLEvent::make("marker", nullptr));
  auto ready = VLSemaphore::make(0);
  std::vector<std::thread> checkers;
  for (int i = 0; i < waiting; ++i) {
    checkers.emplace_back([&] {
      stream->checkForMatchingEventWithTimeout(3600, nullptr, [&](const VLEventRef& event) {
        if (event->type() == "marker") ready->signal();
        return event->type() == "stop";
      });
    });
  }
  for (int i = 0; i < waiting; ++i) ready->wait();

  auto event = VLEvent::make(VLEventInsert, makeItem("1", "a.txt"));
  for (auto _ : state) stream->addEvent(event);
  state.SetItemsProcessed(state.iterations());

  stream->addEvent(VLEvent::make("stop", nullptr));
  for (auto& checker : checkers) checker.join();
}
BENCHMARK(BM_AddEvent)->Arg(0)->Arg(1)->Arg(8)->UseRealTime();

// Time from the start of addEvent() to the return of the check waiting for that event,
// measured on the checking thread. Reports the median and 99th percentile in microseconds.
void BM_WakeLatency(benchmark::State& state) {
  auto stream = VLEventStream::make();
  auto go = VLSemaphore::make(0), ready = VLSemaphore::make(0), done = VLSemaphore::make(0);
  std::atomic<bool> stopping{false};
  Clock::time_point returned;
  std::thread checker([&] {
    while (true) {
      go->wait();
      if (stopping.load()) return;
      stream->checkForMatchingEventWithTimeout(3600, nullptr, [&](const VLEventRef& event) {
        if (event->type() == "marker") ready->signal();
        return event->type() == "hit";
      });
      returned = Clock::now();
      done->signal();
    }
  });

  std::vector<double> micros;
  auto item = makeItem("1", "a.txt");
  for (auto _ : state) {
    stream->addEvent(VLEvent::make("marker", nullptr));
    go->signal();
    ready->wait();
    auto hit = VLEvent::make("hit", item);
    auto start = Clock::now();
    stream->addEvent(hit);
    done->wait();
    double seconds = std::chrono::duration<double>(returned - start).count();
    state.SetIterationTime(seconds);
    micros.push_back(seconds * 1e6);
    stream->dropEventsUntil(hit);
  }
  stopping.store(true);
  go->signal();
  checker.join();

  std::sort(micros.begin(), micros.end());
  if (!micros.empty()) {
    state.counters["median_us"] = micros[micros.size() / 2];
    state.counters["p99_us"] = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
  }
}
BENCHMARK(BM_WakeLatency)->UseManualTime()->Iterations(20000);

std::shared_ptr<VLExpectedEvent> expectation(int keys) {
  return VLExpectedEvent::eventWithType(VLEventInsert, [&](VLExpectedItem& item) {
    item.setFilename("a.txt");
    item.setDocumentSize(5);  // with "pending": 3 keys
    if (keys < 12) return;
    item.setDisplayName("a.txt");
    item.setItemIdentifier("1");
    item.setParentItemIdentifier("parent");
    item.setTypeIdentifier("public.plain-text");
    item.setLastUsedDate(VLDate(1700000000.5));
    item.setFavoriteRank(3);
    item.setTrashed(false);
    item.setDownloaded(true);
    item.setTags({VLTag::make("red", 6)});
  });
}

// Cost of matchesEvent() for a candidate that agrees on every key (the full comparison).
void BM_MatchCandidate(benchmark::State& state) {
  auto expected = expectation(static_cast<int>(state.range(0)));
  if (static_cast<int64_t>(expected->item().expectedKeys().size()) != state.range(0)) {
    state.SkipWithError("wrong key count");
    return;
  }
  auto candidate = VLEvent::make(VLEventInsert, makeItem("1", "a.txt"));
  for (auto _ : state) benchmark::DoNotOptimize(expected->matchesEvent(candidate));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_MatchCandidate)->Arg(3)->Arg(12);

// Cost for a near miss (right identity, one key differs), which also records the closest match.
void BM_NearMissCandidate(benchmark::State& state) {
  auto expected = expectation(static_cast<int>(state.range(0)));
  auto candidate = VLEvent::make(VLEventInsert, makeItem("1", "a.txt"));
  VLItemAttributes a = candidate->item()->attributes();
  a.documentSize = 6;
  auto nearMiss = VLEvent::make(VLEventInsert, VLItem::make(a));
  for (auto _ : state) benchmark::DoNotOptimize(expected->matchesEvent(nearMiss));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NearMissCandidate)->Arg(3)->Arg(12);

}  // namespace
