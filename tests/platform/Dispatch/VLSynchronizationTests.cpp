#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <latch>
#include <thread>
#include <vector>

#include "Core/VLLog.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Dispatch/VLDispatchGroup.h"
#include "Dispatch/VLOnce.h"
#include "Dispatch/VLSemaphore.h"
#include "support/TestTimes.h"

namespace {

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(VLBackgroundQueue, BlockedTasksDoNotStarveLaterOnes) {
  // Far more blocked tasks than cores: a fixed-size pool would never start the releaser.
  constexpr int kBlocked = 24;
  auto arrived = VLSemaphore::make(0);
  auto gate = VLSemaphore::make(0);
  auto done = VLDispatchGroup::make();
  for (int i = 0; i < kBlocked; ++i) {
    done->enter();
    VLBackgroundQueue::shared().async([=] {
      arrived->signal();
      if (gate->wait(kPatience)) done->leave();
    });
  }
  for (int i = 0; i < kBlocked; ++i) ASSERT_TRUE(arrived->wait(kPatience)) << "only " << i << " tasks started";
  EXPECT_GE(VLBackgroundQueue::shared().threadCount(), size_t(kBlocked));
  VLBackgroundQueue::shared().async([=] {
    for (int i = 0; i < kBlocked; ++i) gate->signal();
  });
  EXPECT_TRUE(done->wait(kPatience));
}

TEST(VLDispatchGroup, WaitsUntilEmptyOrTimesOut) {
  auto group = VLDispatchGroup::make();
  EXPECT_TRUE(group->wait(0));  // an empty group is done at once
  group->enter();
  group->enter();
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(group->wait(kShort));
  EXPECT_GE(secondsSince(start), kShort);
  group->leave();
  EXPECT_FALSE(group->wait(0));
  EXPECT_FALSE(group->wait(std::nan("")));  // not a number: no wait at all
  VLBackgroundQueue::shared().async([group] { group->leave(); });
  EXPECT_TRUE(group->wait());
}

TEST(VLDispatchGroupDeathTest, LeavingMoreThanEnteredStopsTheProcess) {
  auto group = VLDispatchGroup::make();
  EXPECT_DEATH(
      {
        VLLog::setSink(nullptr);
        group->leave();
      },
      "\\[CRIT\\] \\[ASSERT\\] .*group left more often than entered");
}

TEST(VLSemaphore, CountsSignalsAndTimesOut) {
  auto semaphore = VLSemaphore::make(2);
  EXPECT_TRUE(semaphore->wait(0));
  EXPECT_TRUE(semaphore->wait(0));
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(semaphore->wait(kShort));
  EXPECT_GE(secondsSince(start), kShort);
  VLBackgroundQueue::shared().async([semaphore] { semaphore->signal(); });
  EXPECT_TRUE(semaphore->wait(kPatience));  // only the other thread's signal can satisfy this
  EXPECT_FALSE(semaphore->wait(0));
  EXPECT_FALSE(semaphore->wait(std::nan("")));
}

TEST(VLOnce, ConcurrentFirstCallsRunTheWorkOnce) {
  constexpr int kThreads = 8;
  VLOnce once;
  std::atomic<int> runs{0};
  int result = 0;  // written by the work, read by every caller after perform()
  std::latch start(kThreads);
  std::vector<int> seen(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.arrive_and_wait();
      once.perform([&] {
        runs.fetch_add(1);
        result = 42;
      });
      seen[t] = result;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(runs.load(), 1);
  EXPECT_EQ(seen, std::vector<int>(kThreads, 42));
}

// Many threads write their own slot and then leave or signal while one thread waits; the
// waiter must see every write (ThreadSanitizer checks the hand-over).
TEST(VLSynchronizationStress, SignalsFromManyThreadsHandOverTheirWrites) {
  constexpr int kThreads = 8, kRounds = 40, kPerThread = 16;
  for (int round = 0; round < kRounds; ++round) {
    std::vector<int> slots(kThreads * kPerThread, 0);
    auto group = VLDispatchGroup::make();
    auto semaphore = VLSemaphore::make(0);
    for (int i = 0; i < kThreads * kPerThread; ++i) group->enter();
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
      workers.emplace_back([&, t] {
        for (int i = 0; i < kPerThread; ++i) {
          slots[t * kPerThread + i] = round + 1;
          if (i % 2 == 0) semaphore->signal();
          group->leave();
        }
      });
    }
    int taken = 0;
    while (taken < kThreads * kPerThread / 2 && semaphore->wait(kPatience)) ++taken;
    ASSERT_TRUE(group->wait(kPatience));
    EXPECT_FALSE(semaphore->wait(0));
    for (int slot : slots) ASSERT_EQ(slot, round + 1);
    for (auto& worker : workers) worker.join();
    EXPECT_EQ(taken, kThreads * kPerThread / 2);
  }
}

}  // namespace
