#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>
#include <vector>

#include "Core/VLLog.h"
#include "Dispatch/VLSemaphore.h"
#include "support/TestItems.h"
#include "Validations/VLEventStream.h"

namespace {

constexpr uint64_t kNotFound = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());

VLEventRef insertOf(const std::string& name) { return VLEvent::make(VLEventInsert, vl_testItem(name, name)); }

auto named(const std::string& name) {
  return [name](const VLEventRef& event) { return event->item() && event->item()->filename() == name; };
}

// Appends a marker event and returns once a check started on another thread has seen it.
// The history scan and the joining of the waiters are one queue task, so from then on the
// check is waiting for new events.
struct WaitingCheck {
  std::shared_ptr<VLSemaphore> seenMarker = VLSemaphore::make(0);
  VLEventStream::Predicate wrap(VLEventStream::Predicate predicate) {
    return [this, predicate](const VLEventRef& event) {
      if (event->type() == "marker") seenMarker->signal();
      return predicate(event);
    };
  }
};

}  // namespace

TEST(EventStream, ReturnsEarliestPresentMatchEvenWithZeroTimeout) {
  auto stream = VLEventStream::make();
  stream->addEvent(insertOf("x"));
  auto first = insertOf("a");
  stream->addEvent(first);
  stream->addEvent(insertOf("a"));

  uint64_t timestamp = 99;
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0, &timestamp, named("a")), first);
  EXPECT_EQ(timestamp, 1u);
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0, nullptr, named("a")), first);
}

TEST(EventStream, WaitingCheckWakesOnLaterEventAndAddEventReturnsAfterItWasSeen) {
  auto stream = VLEventStream::make();
  stream->addEvent(VLEvent::make("marker", nullptr));
  WaitingCheck ready;
  std::atomic<int> calls{0};
  VLEventRef found;
  uint64_t timestamp = 0;
  std::thread checker([&] {
    found = stream->checkForMatchingEventWithTimeout(30, &timestamp, ready.wrap([&](const VLEventRef& event) {
      ++calls;
      return named("b")(event);
    }));
  });
  ready.seenMarker->wait();
  stream->addEvent(insertOf("a"));
  EXPECT_EQ(calls.load(), 2);  // the marker, then "a", before addEvent returned
  auto wanted = insertOf("b");
  stream->addEvent(wanted);
  checker.join();
  EXPECT_EQ(found, wanted);
  EXPECT_EQ(timestamp, 2u);
  stream->addEvent(insertOf("b"));
  EXPECT_EQ(calls.load(), 3);  // a finished check is no longer asked
}

TEST(EventStream, TimedOutCheckReportsNotFoundPlusDroppedCount) {
  auto stream = VLEventStream::make();
  uint64_t timestamp = 0;
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0.01, &timestamp, named("a")), nullptr);
  EXPECT_EQ(timestamp, kNotFound);

  auto events = std::vector<VLEventRef>{insertOf("x"), insertOf("y")};
  for (const auto& event : events) stream->addEvent(event);
  stream->dropEventsUntil(events[1]);
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0, &timestamp, named("a")), nullptr);
  EXPECT_EQ(timestamp, kNotFound + 2);
}

TEST(EventStream, DropsByIdentityAndKeepsTimestampsAbsolute) {
  auto stream = VLEventStream::make();
  auto item = vl_testItem("1", "same");
  std::vector<VLEventRef> events;
  for (int i = 0; i < 4; ++i) events.push_back(VLEvent::make(VLEventInsert, item));
  events.push_back(insertOf("last"));
  for (const auto& event : events) stream->addEvent(event);

  stream->dropEventsUntil(events[0]);
  stream->performWithEvents([&](const std::vector<VLEventRef>& kept) {
    ASSERT_EQ(kept.size(), 4u);
    EXPECT_EQ(kept[0], events[1]);  // an equal twin is a different event
  });
  stream->dropEventsUntil(events[2]);
  uint64_t timestamp = 0;
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0, &timestamp, named("same")), events[3]);
  EXPECT_EQ(timestamp, 3u);
  EXPECT_EQ(stream->checkForMatchingEventWithTimeout(0, &timestamp, named("last")), events[4]);
  EXPECT_EQ(timestamp, 4u);
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

TEST(EventStream, DescriptionIsSettable) {
  auto stream = VLEventStream::make();
  EXPECT_EQ(stream->streamDescription(), "");
  stream->setStreamDescription("container 42");
  EXPECT_EQ(stream->streamDescription(), "container 42");
  EXPECT_EQ(VLEvent::make(VLEventMove, nullptr)->description().find("<VLEvent: 0x"), 0u);
}

// Several checks wait on one stream while another thread appends; each must find its own
// event with its absolute position. Meant to run under ThreadSanitizer too.
TEST(EventStream, ManyChecksWaitAtOnce) {
  constexpr int kCheckers = 8;
  auto stream = VLEventStream::make();
  stream->addEvent(VLEvent::make("marker", nullptr));
  WaitingCheck ready;
  std::vector<VLEventRef> found(kCheckers);
  std::vector<uint64_t> timestamps(kCheckers);
  std::vector<std::thread> checkers;
  for (int i = 0; i < kCheckers; ++i) {
    checkers.emplace_back([&, i] {
      found[i] = stream->checkForMatchingEventWithTimeout(30, &timestamps[i], ready.wrap(named(std::to_string(i))));
    });
  }
  for (int i = 0; i < kCheckers; ++i) ready.seenMarker->wait();

  std::vector<VLEventRef> events;
  for (int i = kCheckers - 1; i >= 0; --i) events.push_back(insertOf(std::to_string(i)));
  std::thread feeder([&] {
    for (const auto& event : events) stream->addEvent(event);
  });
  feeder.join();
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
  EXPECT_DEATH((VLLog::setSink({}), stream->performWithEvents([&](const std::vector<VLEventRef>&) {
                  stream->checkForMatchingEventWithTimeout(0, nullptr, named("a"));
                })),
               "from its own queue");
}
