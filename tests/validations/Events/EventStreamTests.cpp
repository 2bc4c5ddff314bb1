#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include "Core/VLLog.h"
#include "Dispatch/VLSemaphore.h"
#include "Validations/VLEventStream.h"
#include "support/TestItems.h"

namespace {

constexpr uint64_t kNotFound = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());

VLEventRef insertOf(const std::string& name) { return VLEvent::make(VLEventInsert, vl_testItem(name, name)); }

auto named(const std::string& name) {
  return [name](const VLEventRef& event) { return event->item() && event->item()->filename() == name; };
}

// Wraps a predicate so that a check signals once it has scanned the "marker" event already
// in the stream: scanning and joining the waiters are one queue task, so from then on the
// check is waiting for new events.
auto signallingOnMarker(const std::shared_ptr<VLSemaphore>& seen, VLEventStream::Predicate predicate) {
  return [seen, predicate](const VLEventRef& event) {
    if (event->type() == "marker") seen->signal();
    return predicate(event);
  };
}

}  // namespace

TEST(EventStream, WaitingCheckSeesEachNewEventBeforeAddEventReturns) {
  auto stream = VLEventStream::make();
  stream->addEvent(VLEvent::make("marker", nullptr));
  auto seen = VLSemaphore::make(0);
  std::atomic<int> calls{0};
  VLEventRef found;
  uint64_t timestamp = 0;
  std::thread checker([&] {
    found = stream->checkForMatchingEventWithTimeout(30, &timestamp, signallingOnMarker(seen, [&](const VLEventRef& e) {
                                                       ++calls;
                                                       return named("b")(e);
                                                     }));
  });
  seen->wait();
  stream->addEvent(insertOf("a"));
  EXPECT_EQ(calls.load(), 2);
  auto wanted = insertOf("b");
  stream->addEvent(wanted);
  checker.join();
  EXPECT_EQ(found, wanted);
  EXPECT_EQ(timestamp, 2u);
  stream->addEvent(insertOf("b"));
  EXPECT_EQ(calls.load(), 3);  // a finished check is no longer asked
}

TEST(EventStream, DropsByIdentityAndKeepsTimestampsAbsolute) {
  auto stream = VLEventStream::make();
  uint64_t timestamp = 0;
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0.01, &timestamp, named("same")), nullptr);
  EXPECT_EQ(timestamp, kNotFound);

  auto item = vl_testItem("1", "same");
  std::vector<VLEventRef> events(4);
  for (auto& event : events) stream->addEvent(event = VLEvent::make(VLEventInsert, item));
  stream->dropEventsUntil(events[0]);
  stream->performWithEvents([&](const std::vector<VLEventRef>& kept) {
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_EQ(kept[0], events[1]);  // an equal twin is a different event
  });
  // The earliest match counts, even with no time to wait.
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0, &timestamp, named("same")), events[1]);
  EXPECT_EQ(timestamp, 1u);
  stream->dropEventsUntil(events[2]);
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0, &timestamp, named("same")), events[3]);
  EXPECT_EQ(timestamp, 3u);
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0, &timestamp, named("other")), nullptr);
  EXPECT_EQ(timestamp, kNotFound + 3);
}

TEST(EventStream, DebugLineCarriesArrayIndexAndTypeWord) {
  std::vector<std::string> lines;
  VLLog::setSink([&](VLLogLevel, const std::string& line) { lines.push_back(line); });
  VLLog::setDebugEnabled(true);
  auto stream = VLEventStream::make();
  auto first = insertOf("a");
  stream->addEvent(first);
  stream->addEvent(VLEvent::make(VLEventDelete, nullptr));
  stream->dropEventsUntil(first);
  stream->addEvent(VLEvent::make("should-be-reloaded", nullptr));
  VLLog::setDebugEnabled(false);
  VLLog::setSink([](VLLogLevel, const std::string&) {});
  EXPECT_EQ(lines, (std::vector<std::string>{"[DEBUG] event@0: insert", "[DEBUG] event@1: delete",
                                             "[DEBUG] event@1: should-be-reloaded"}));
}

// Several checks wait on one stream while another thread appends; each must find its own
// event with its absolute position. Meant to run under ThreadSanitizer too.
TEST(EventStream, ManyChecksWaitAtOnce) {
  constexpr int kCheckers = 8;
  auto stream = VLEventStream::make();
  stream->addEvent(VLEvent::make("marker", nullptr));
  auto seen = VLSemaphore::make(0);
  std::vector<VLEventRef> found(kCheckers);
  std::vector<uint64_t> timestamps(kCheckers);
  std::vector<std::thread> checkers;
  for (int i = 0; i < kCheckers; ++i) {
    checkers.emplace_back([&, i] {
      found[i] = stream->checkForMatchingEventWithTimeout(30, &timestamps[i],
                                                          signallingOnMarker(seen, named(std::to_string(i))));
    });
  }
  for (int i = 0; i < kCheckers; ++i) seen->wait();
  std::vector<VLEventRef> events;
  for (int i = kCheckers - 1; i >= 0; --i) events.push_back(insertOf(std::to_string(i)));
  std::thread([&] {
    for (const auto& event : events) stream->addEvent(event);
  }).join();
  for (auto& checker : checkers) checker.join();
  for (int i = 0; i < kCheckers; ++i) {
    EXPECT_EQ(found[i], events[kCheckers - 1 - i]);
    EXPECT_EQ(timestamps[i], static_cast<uint64_t>(kCheckers - i));
  }
}

TEST(EventStreamDeathTest, MisuseStopsTheProcess) {
  auto stream = VLEventStream::make();
  auto event = insertOf("a");
  EXPECT_DEATH((VLLog::setSink({}), stream->dropEventsUntil(event)), "is not in stream");
  stream->addEvent(event);
  auto checkInside = [&](const std::vector<VLEventRef>&) {
    stream->checkForMatchingEventWithTimeout(0, nullptr, named("a"));
  };
  EXPECT_DEATH((VLLog::setSink({}), stream->performWithEvents(checkInside)), "from its own queue");
}
