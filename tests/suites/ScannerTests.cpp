// The hierarchy walk's scanner against hand-driven collections: at most three observe at
// once, the walk stops past 500 items (finishing the delivering collection twice), and a
// collection error ends only that collection.
#include <gtest/gtest.h>

#include <atomic>

#include "suites/ValidationCollectionScanner.h"
#include "support/TestItems.h"

namespace {

// A collection whose deliveries the test triggers; starting and stopping are counted.
class HandDrivenCollection : public VLItemCollection {
 public:
  explicit HandDrivenCollection(std::vector<VLItemRef> items) : items_(std::move(items)) {}
  void startObserving() override { ++starts; }
  void stopObserving() override { ++stops; }
  std::vector<VLItemRef> items() const override { return items_; }
  void reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>&) override {}

  // Delivers the items (or an error) on the working queue and waits until it has run.
  void deliver(bool failing = false) {
    workingQueue()->sync([&] {
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
  std::atomic<int> leaves{0}, finished{0};

  Walk() {
    scanner->setLeafItemFound([this](const VLItemRef&, const VLItemRef&) { ++leaves; });
    scanner->setContainerItemFound([this](const VLItemRef&, const VLItemRef& item) {
      auto collection = std::make_shared<HandDrivenCollection>(std::vector<VLItemRef>{});
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

TEST(ValidationCollectionScanner, StopsAfterTheFirstDeliveryPastFiveHundredItems) {
  Walk walk;
  std::vector<VLItemRef> files;
  for (int i = 0; i < 600; ++i) files.push_back(vl_testItem(std::to_string(i), std::to_string(i) + ".txt"));
  auto root = walk.start(files);
  root->deliver();
  EXPECT_EQ(walk.leaves, 600);  // every item delivered is still reported
  EXPECT_EQ(walk.scanner->totalItemsSeen(), 600u);
  EXPECT_EQ(walk.finished, 2);  // finished among all active ones, then on its own
  EXPECT_EQ(walk.scanner->finishedCollectionCount(), 2u);
  EXPECT_EQ(root->stops, 2);
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

}  // namespace
