#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "Core/VLException.h"
#include "Core/VLLog.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Dispatch/VLDispatchQueue.h"
#include "Dispatch/VLSemaphore.h"

namespace {

TEST(VLDispatchQueue, RunsTasksOneAtATimeInOrderUnderManyProducers) {
  constexpr int kProducers = 8, kPerProducer = 200;
  auto queue = VLDispatchQueue::make("serial");
  std::vector<std::pair<int, int>> seen;  // owned by queue: touched only by its tasks
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false}, wrongQueue{false};

  auto record = [&](int producer, int index) {
    if (running.fetch_add(1) != 0) overlapped = true;
    if (!queue->isCurrent()) wrongQueue = true;
    seen.emplace_back(producer, index);
    running.fetch_sub(1);
  };
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&, p] {
      // Mixing in sync calls exercises the path where the caller runs the task itself.
      for (int i = 0; i < kPerProducer; ++i) {
        if (i % 7 == 0)
          queue->sync([&, p, i] { record(p, i); });
        else
          queue->async([&, p, i] { record(p, i); });
      }
    });
  }
  for (auto& producer : producers) producer.join();

  size_t count = 0;
  std::vector<int> next(kProducers, 0);
  bool inOrder = true;
  queue->sync([&] {
    count = seen.size();
    for (auto [producer, index] : seen) inOrder &= index == next[producer]++;
  });
  EXPECT_EQ(count, size_t(kProducers * kPerProducer));
  EXPECT_TRUE(inOrder) << "a producer's tasks ran out of order";
  EXPECT_FALSE(overlapped) << "two tasks ran at the same time";
  EXPECT_FALSE(wrongQueue);
  EXPECT_FALSE(queue->isCurrent());
}

TEST(VLDispatchQueue, SyncWaitsForEarlierTasksAndRethrows) {
  auto queue = VLDispatchQueue::make("sync");
  auto gate = VLSemaphore::make(0);
  std::vector<int> order;  // owned by queue
  queue->async([&] {
    gate->wait(10);
    order.push_back(1);
  });
  queue->async([] { throw VLException("an async task that throws does not stop the queue"); });
  queue->async([&] { order.push_back(2); });
  VLBackgroundQueue::shared().async([gate] { gate->signal(); });
  // The queue is busy, so this waits behind the tasks above.
  EXPECT_THROW(queue->sync([&] {
    order.push_back(3);
    throw VLException("slow path");
  }),
               VLException);
  // The queue is idle now, so this runs on the calling thread.
  EXPECT_THROW(queue->sync([] { throw VLException("fast path"); }), VLException);
  queue->sync([&] { order.push_back(4); });
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(VLDispatchQueue, ReleasesATaskOnceItHasRun) {
  auto queue = VLDispatchQueue::make("release");
  auto captured = std::make_shared<int>(1);
  std::weak_ptr<int> weak = captured;
  queue->async([captured] {});
  captured.reset();
  queue->sync([] {});
  EXPECT_TRUE(weak.expired());
}

TEST(VLDispatchQueueDeathTest, SyncOntoTheCurrentQueueStopsTheProcess) {
  auto queue = VLDispatchQueue::make("self");
  EXPECT_DEATH(
      {
        VLLog::setSink(nullptr);
        queue->sync([&] { queue->sync([] {}); });
      },
      "\\[CRIT\\] \\[ASSERT\\] .*sync onto queue \"self\"");
  EXPECT_DEATH(
      {
        VLLog::setSink(nullptr);
        queue->async([&] { queue->sync([] {}); });
        VLSemaphore::make(0)->wait();
      },
      "sync onto queue \"self\"");
}

}  // namespace
