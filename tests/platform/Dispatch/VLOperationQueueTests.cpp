#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Dispatch/VLOperationQueue.h"
#include "Dispatch/VLSemaphore.h"
#include "support/TestTimes.h"

namespace {

// An asynchronous operation that finishes only when told to.
class ManualOperation : public VLOperation {
 public:
  static std::shared_ptr<ManualOperation> make() { return std::shared_ptr<ManualOperation>(new ManualOperation()); }
  void complete() { finish(); }
  std::atomic<int> mainRuns{0};

 protected:
  void main() override { mainRuns.fetch_add(1); }
  bool isAsynchronous() const override { return true; }
};

// Records the size of every list an observer is given; `changed` counts the calls.
struct SizeLog {
  std::mutex mutex;
  std::vector<size_t> sizes;
  std::shared_ptr<VLSemaphore> changed = VLSemaphore::make(0);
  VLOperationQueue::Observer observer() {
    return [this](const VLOperationQueue::OperationList& list) {
      {
        std::lock_guard lock(mutex);
        sizes.push_back(list.size());
      }
      changed->signal();
    };
  }
  std::vector<size_t> snapshot() {
    std::lock_guard lock(mutex);
    return sizes;
  }
};

TEST(VLOperation, RunsOnceAndFinishesOnce) {
  auto operation = ManualOperation::make();
  int finishedCalls = 0;
  operation->whenFinished([&] { ++finishedCalls; });
  operation->start();
  operation->start();
  EXPECT_EQ(operation->mainRuns.load(), 1);
  EXPECT_FALSE(operation->isFinished());  // asynchronous: main() returning is not finishing
  operation->complete();
  operation->complete();
  operation->whenFinished([&] { ++finishedCalls; });  // already finished: called at once
  EXPECT_EQ(finishedCalls, 2);

  auto throwing = VLBlockOperation::make([] { throw std::runtime_error("work failed"); });
  EXPECT_THROW(throwing->start(), std::runtime_error);
  EXPECT_TRUE(throwing->isFinished());
}

TEST(VLOperationQueue, ObserversSeeTheListChangeUntilRemoved) {
  auto queue = VLOperationQueue::make();
  SizeLog log;
  uint64_t token = queue->observeOperations(log.observer());
  EXPECT_EQ(log.snapshot(), std::vector<size_t>{0});  // called at once with the current list

  auto manual = ManualOperation::make();
  queue->addOperation(manual);
  ASSERT_EQ(queue->operations().size(), 1u);
  EXPECT_EQ(queue->operations()[0], manual);
  auto gate = VLSemaphore::make(0);
  queue->addOperationWithBlock([gate] { gate->wait(kPatience); });
  EXPECT_EQ(queue->operations().size(), 2u);
  for (int call = 0; call < 3; ++call) ASSERT_TRUE(log.changed->wait(0));

  gate->signal();  // the block operation finishes on its own thread
  ASSERT_TRUE(log.changed->wait(kPatience));
  EXPECT_EQ(queue->operations(), VLOperationQueue::OperationList{manual});
  manual->complete();  // reported on this thread, before complete() returns
  EXPECT_TRUE(queue->operations().empty());
  auto sizes = log.snapshot();
  EXPECT_EQ(sizes, (std::vector<size_t>{0, 1, 2, 1, 0}));

  queue->removeObserver(token);
  queue->addOperationWithBlock([] {});
  EXPECT_TRUE(vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, kPatience));
  EXPECT_EQ(log.snapshot(), sizes);
}

TEST(VLOperationQueue, RemoveObserverWaitsOutACallInProgress) {
  auto queue = VLOperationQueue::make();
  auto inside = VLSemaphore::make(0), release = VLSemaphore::make(0), removed = VLSemaphore::make(0);
  std::atomic<int> callsAfterRemoval{0};
  std::atomic<bool> isRemoved{false}, armed{false};
  uint64_t token = queue->observeOperations([&](const VLOperationQueue::OperationList& list) {
    if (isRemoved) callsAfterRemoval.fetch_add(1);
    if (list.empty() && armed.exchange(false)) {
      inside->signal();
      release->wait(kPatience);
    }
  });
  armed = true;
  queue->addOperationWithBlock([] {});  // its finishing call blocks inside the observer
  ASSERT_TRUE(inside->wait(kPatience));
  std::thread remover([&] {
    queue->removeObserver(token);
    isRemoved = true;
    removed->signal();
  });
  EXPECT_FALSE(removed->wait(kShort)) << "removeObserver returned while its observer was running";
  release->signal();
  EXPECT_TRUE(removed->wait(kPatience));
  remover.join();
  queue->addOperationWithBlock([] {});
  EXPECT_TRUE(vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, kPatience));
  EXPECT_EQ(callsAfterRemoval.load(), 0);
}

TEST(VLOperationQueue, WaitUntilAllOperationsAreFinished) {
  auto queue = VLOperationQueue::make();
  EXPECT_TRUE(vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, 0));  // empty: finished at once

  std::atomic<int> ran{0};
  for (int i = 0; i < 20; ++i) queue->addOperationWithBlock([&] { ran.fetch_add(1); });
  // Work that throws still leaves the queue.
  queue->addOperationWithBlock([] { throw std::runtime_error("clean-up failed"); });
  EXPECT_TRUE(vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, kPatience));
  EXPECT_EQ(ran.load(), 20);

  auto never = ManualOperation::make();
  queue->addOperation(never);
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, kShort));
  EXPECT_GE(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), kShort);
  never->complete();
  EXPECT_TRUE(vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, kPatience));
}

}  // namespace
