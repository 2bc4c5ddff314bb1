// The hierarchy walk's scanner against hand-driven collections: at most three observe at
// once, the walk stops past 500 items (finishing the delivering collection twice), and a
// collection error ends only that collection.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <map>
#include <mutex>
#include <thread>

#include "Validations/VLValidator.h"
#include "suites/ValidationCollectionScanner.h"
#include "support/TestItems.h"

namespace {

std::vector<VLItemRef> files(const std::string& folderName, int count) {
  std::vector<VLItemRef> items;
  for (int i = 0; i < count; ++i) {
    std::string name = folderName + "-" + std::to_string(i);
    items.push_back(
        vl_testItem(name, name + ".txt", [&](VLItemAttributes& a) { a.parentItemIdentifier = folderName; }));
  }
  return items;
}

// A collection whose deliveries the test triggers; starting and stopping are counted.
class HandDrivenCollection : public VLItemCollection {
 public:
  explicit HandDrivenCollection(std::vector<VLItemRef> items) : items_(std::move(items)) {}
  void startObserving() override { ++starts; }
  void stopObserving() override { ++stops; }
  std::vector<VLItemRef> items() const override { return items_; }
  void reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>&) override {}

  // Delivers the items (or an error) on the working queue and waits until it has run;
  // `arrived` runs there first, just before the delegate is called.
  void deliver(bool failing = false, const std::function<void()>& arrived = {}) {
    workingQueue()->sync([&] {
      if (arrived) arrived();
      auto delegate = this->delegate();
      if (!delegate) return;
      if (failing) {
        delegate->collectionDidEncounterError(*this, VLError::make("test", 1));
      } else {
        delegate->dataForCollectionShouldBeReloaded(*this);
      }
    });
    workingQueue()->sync([] {});  // the stop it may have queued
  }

  std::atomic<int> starts{0}, stops{0};

 private:
  const std::vector<VLItemRef> items_;
};

VLItemRef folder(const std::string& name) {
  return vl_testItem(name, name, [](VLItemAttributes& a) { a.isFolder = a.isContainer = true; });
}

struct Walk {
  std::shared_ptr<ValidationCollectionScanner> scanner = ValidationCollectionScanner::make();
  std::vector<std::shared_ptr<HandDrivenCollection>> queued;  // every folder collection, in queuing order
  std::map<std::string, std::vector<VLItemRef>> contents;    // a folder's items, by its identifier (set before start)
  std::atomic<int> leaves{0}, finished{0};

  Walk() {
    scanner->setLeafItemFound([this](const VLItemRef&, const VLItemRef&) { ++leaves; });
    scanner->setContainerItemFound([this](const VLItemRef&, const VLItemRef& item) {
      auto collection = std::make_shared<HandDrivenCollection>(contents[item->itemIdentifier()]);
      queued.push_back(collection);
      scanner->addCollectionToScan(collection, item);
    });
    scanner->setFinished([this] { ++finished; });
  }
  std::shared_ptr<HandDrivenCollection> start(std::vector<VLItemRef> rootItems) {
    auto root = std::make_shared<HandDrivenCollection>(std::move(rootItems));
    scanner->addCollectionToScan(root, folder("root"));
    root->workingQueue()->sync([] {});
    return root;
  }
};

TEST(ValidationCollectionScanner, RunsAtMostThreeCollectionsAndFinishesWhenAllHaveDelivered) {
  Walk walk;
  auto root = walk.start({folder("a"), folder("b"), folder("c"), folder("d"), vl_testItem("f", "f.txt")});
  EXPECT_EQ(root->starts, 1);
  root->deliver();
  EXPECT_EQ(root->stops, 1);
  EXPECT_EQ(walk.leaves, 1);
  ASSERT_EQ(walk.queued.size(), 4u);
  EXPECT_EQ(walk.scanner->activeCollectionCount(), 3u);
  EXPECT_EQ(walk.scanner->pendingCollectionCount(), 1u);
  for (auto& collection : walk.queued) collection->workingQueue()->sync([] {});
  EXPECT_EQ(walk.queued[3]->starts, 0);

  walk.queued[0]->deliver();
  walk.queued[3]->workingQueue()->sync([] {});
  EXPECT_EQ(walk.queued[3]->starts, 1);  // the fourth starts once one has finished
  EXPECT_EQ(walk.finished, 0);
  for (size_t i = 1; i < 4; ++i) walk.queued[i]->deliver();
  EXPECT_EQ(walk.finished, 1);
  EXPECT_EQ(walk.scanner->finishedCollectionCount(), 5u);
}

TEST(ValidationCollectionScanner, TheLimitIsFiveHundredItemsCountedAcrossCollections) {
  // One delivery on each side of the limit: at 500 the walk goes on, past it it is cut off
  // after that delivery, whose items are all still reported.
  for (int count : {500, 501, 600}) {
    SCOPED_TRACE(count);
    Walk walk;
    auto root = walk.start(files("root", count));
    root->deliver();
    const int ends = count > 500 ? 2 : 1;  // a cut walk finishes among all active ones, then on its own
    EXPECT_EQ(walk.leaves, count);
    EXPECT_EQ(walk.scanner->totalItemsSeen(), static_cast<size_t>(count));
    EXPECT_EQ(root->stops, ends);
    EXPECT_EQ(walk.finished, ends);
    EXPECT_EQ(walk.scanner->finishedCollectionCount(), static_cast<size_t>(ends));
  }
  // The count carries from one collection to the next: 300 + 200 reach the limit without
  // passing it, so the third collection is still read; its one item passes it.
  Walk walk;
  auto rootItems = files("root", 298);
  rootItems.push_back(folder("a"));
  rootItems.push_back(folder("b"));
  walk.contents["a"] = files("a", 200);
  walk.contents["b"] = files("b", 1);
  auto root = walk.start(rootItems);
  root->deliver();
  ASSERT_EQ(walk.queued.size(), 2u);
  walk.queued[0]->deliver();
  walk.queued[1]->workingQueue()->sync([] {});
  EXPECT_EQ(walk.scanner->totalItemsSeen(), 500u);
  EXPECT_EQ(walk.queued[1]->stops, 0);  // not cut off at exactly 500
  EXPECT_EQ(walk.finished, 0);
  walk.queued[1]->deliver();
  EXPECT_EQ(walk.scanner->totalItemsSeen(), 501u);
  EXPECT_EQ(walk.queued[1]->stops, 2);  // finished by the cut-off and on its own
  EXPECT_EQ(walk.finished, 2);
}

TEST(ValidationCollectionScanner, ACollectionErrorEndsOnlyThatCollection) {
  Walk walk;
  auto root = walk.start({folder("a"), folder("b")});
  root->deliver();
  ASSERT_EQ(walk.queued.size(), 2u);
  walk.queued[0]->deliver(true);
  EXPECT_EQ(walk.queued[0]->stops, 1);
  EXPECT_EQ(walk.finished, 0);
  EXPECT_EQ(walk.scanner->activeCollectionCount(), 1u);
  walk.queued[1]->deliver();
  EXPECT_EQ(walk.finished, 1);
}

// Folder b's delivery is held after its first item until folder a's delivery has reached the
// scanner on another thread; a alone is past the limit. Whichever order the scanner takes
// them in, the walk may end only after every reported item has its expectation, and the
// validator's wait, running meanwhile, must see nothing time out.
TEST(ValidationCollectionScanner, TwoConcurrentDeliveriesEndTheWalkOnlyAfterBothAreReported) {
  for (int round = 0; round < 10; ++round) {
    auto validator = VLValidator::make();
    auto scanner = ValidationCollectionScanner::make();
    auto a = std::make_shared<HandDrivenCollection>(files("a", 600));
    auto b = std::make_shared<HandDrivenCollection>(files("b", 2000));
    std::latch bothDelivering(2);
    std::atomic<bool> bHeld{false};
    std::atomic<int> reported{0};
    std::mutex mutex;
    std::vector<int> reportedAtFinish;  // guarded by mutex
    auto enumerated = validator->expectationWithText("Expect items to be enumerated");
    scanner->setLeafItemFound([&](const VLItemRef& container, const VLItemRef& item) {
      if (container->itemIdentifier() == "b" && !bHeld.exchange(true)) bothDelivering.arrive_and_wait();
      auto expectation = validator->expectationWithText("Item " + item->itemIdentifier());
      ++reported;
      expectation->fulfill();
    });
    scanner->setFinished([&] {
      {
        std::lock_guard lock(mutex);
        reportedAtFinish.push_back(reported.load());
      }
      enumerated->fulfill();
    });
    scanner->addCollectionToScan(a, folder("a"));
    scanner->addCollectionToScan(b, folder("b"));
    a->workingQueue()->sync([] {});
    b->workingQueue()->sync([] {});

    std::thread deliveringA([&] { a->deliver(false, [&] { bothDelivering.arrive_and_wait(); }); });
    std::thread deliveringB([&] { b->deliver(); });
    validator->waitForExpectationsWithTimeout(20);
    deliveringA.join();
    deliveringB.join();

    ASSERT_FALSE(reportedAtFinish.empty());
    for (int seen : reportedAtFinish) EXPECT_EQ(seen, reported.load()) << "round " << round;
    auto handled = validator->handledExpectations();
    EXPECT_EQ(handled.size(), static_cast<size_t>(reported.load()) + 1);
    for (const auto& expectation : handled) {
      EXPECT_EQ(expectation->result(), VLValidationResultPassed) << expectation->description();
    }
  }
}

}  // namespace
