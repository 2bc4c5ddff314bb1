#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Core/VLError.h"
#include "Core/VLLog.h"
#include "Validations/VLEventGeneratingDelegate.h"
#include "support/TestItems.h"

namespace {

// A collection whose items a test sets by hand; it never delivers callbacks itself.
class FakeCollection : public VLItemCollection {
 public:
  std::vector<VLItemRef> current;
  void startObserving() override {}
  void stopObserving() override {}
  std::vector<VLItemRef> items() const override { return current; }
  void reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>&) override {}
};

class EventGeneratingDelegateTest : public ::testing::Test {
 protected:
  // Returns "type:filename" per event so far, and forgets them.
  std::vector<std::string> takeLog() {
    std::vector<std::string> lines;
    VLEventRef last;
    delegate->stream()->performWithEvents([&](const std::vector<VLEventRef>& events) {
      for (const auto& e : events) lines.push_back(e->type() + ":" + (e->item() ? e->item()->filename() : ""));
      if (!events.empty()) last = events.back();
    });
    if (last) delegate->stream()->dropEventsUntil(last);
    return lines;
  }

  std::shared_ptr<VLEventGeneratingDelegate> delegate = VLEventGeneratingDelegate::make();
  std::shared_ptr<FakeCollection> collection = std::make_shared<FakeCollection>();
  VLItemRef a = vl_testItem("1", "a"), b = vl_testItem("2", "b"), c = vl_testItem("3", "c");
};

using Strings = std::vector<std::string>;

}  // namespace

TEST_F(EventGeneratingDelegateTest, ReloadsReportPresentItemsThenVanishedOnes) {
  collection->current = {a, b, c};
  delegate->dataForCollectionShouldBeReloaded(*collection);
  EXPECT_EQ(takeLog(), (Strings{"should-be-reloaded:", "reload:a", "reload:b", "reload:c"}));
  takeLog();

  // A fresh snapshot of an item counts as the same item.
  collection->current = {c, vl_testItem("1", "a-renamed")};
  delegate->dataForCollectionShouldBeReloaded(*collection);
  EXPECT_EQ(takeLog(), (Strings{"should-be-reloaded:", "reload:c", "reload:a-renamed", "delete:b"}));
}

// Many items, fresh snapshots on the second reload, and an old list that named one item
// twice: each vanished item gets exactly one delete, in the old list's order.
TEST_F(EventGeneratingDelegateTest, ASecondReloadOfManyItemsDeletesExactlyTheVanishedOnes) {
  std::vector<VLItemRef> first;
  for (int i = 0; i < 3000; ++i) first.push_back(vl_testItem(std::to_string(i), "f" + std::to_string(i)));
  first.push_back(vl_testItem("7", "f7-again"));
  collection->current = first;
  delegate->dataForCollectionShouldBeReloaded(*collection);
  takeLog();

  Strings expected{"should-be-reloaded:"};
  std::vector<VLItemRef> second;
  for (int i = 2999; i >= 0; --i) {
    if (i % 3 == 1) continue;
    second.push_back(vl_testItem(std::to_string(i), "g" + std::to_string(i)));
    expected.push_back("reload:g" + std::to_string(i));
  }
  for (int i = 1; i < 3000; i += 3) expected.push_back("delete:f" + std::to_string(i));
  collection->current = second;
  delegate->dataForCollectionShouldBeReloaded(*collection);
  EXPECT_EQ(takeLog(), expected);
}

TEST_F(EventGeneratingDelegateTest, IncrementalChangesNameItemsFromTheRightList) {
  collection->current = {a, b};
  delegate->dataForCollectionShouldBeReloaded(*collection);
  takeLog();

  collection->current = {c, a, b};
  delegate->collectionDidInsertItemsAtIndexPaths(*collection, {VLIndexPath::forRow(0)});
  delegate->collectionDidUpdateItemsAtIndexPathsChanges(*collection, {VLIndexPath::forRow(2), VLIndexPath::forRow(1)},
                                                        {{"filename"}, {}});
  // Only the destination paths are read.
  delegate->collectionDidMoveItemsFromIndexPathsToIndexPaths(*collection, {VLIndexPath::forRow(7)},
                                                             {VLIndexPath::forRow(0)});
  // Outside a batch, a deletion indexes the snapshot of the last reload ({a, b}), not the
  // current list.
  collection->current = {c, b};
  delegate->collectionDidDeleteItemsAtIndexPaths(*collection, {VLIndexPath::forRow(0)});
  EXPECT_EQ(takeLog(), (Strings{"insert:c", "update:b", "update:a", "move:c", "delete:a"}));
}

TEST_F(EventGeneratingDelegateTest, BatchReplaysAgainstOldSnapshotThenTakesANewOne) {
  collection->current = {a, b};
  delegate->dataForCollectionShouldBeReloaded(*collection);
  takeLog();

  collection->current = {b, c};
  delegate->collectionDidPerformBatchUpdateWithReplayBlock(*collection, [&](VLItemCollectionIndexPathBasedDelegate& d) {
    d.collectionDidDeleteItemsAtIndexPaths(*collection, {VLIndexPath::forRow(0)});
  });
  collection->current = {c};
  delegate->collectionDidDeleteItemsAtIndexPaths(*collection, {VLIndexPath::forRow(0)});
  EXPECT_EQ(takeLog(), (Strings{"delete:a", "delete:b"}));
}

TEST_F(EventGeneratingDelegateTest, ErrorsAndObservedItemBecomeSingleEvents) {
  auto error = VLError::makeWithDescription("Domain", 7, "broken");
  delegate->collectionDidEncounterError(*collection, error);
  delegate->collectionDidUpdateObservedItem(*collection, a);
  EXPECT_EQ(takeLog(), (Strings{"encountered-error: " + error->description() + ":", "updated-observed-item:a"}));
}

TEST_F(EventGeneratingDelegateTest, DeathOnRowOutsideTheList) {
  collection->current = {a};
  auto insertBeyondEnd = [&] { delegate->collectionDidInsertItemsAtIndexPaths(*collection, {VLIndexPath::forRow(1)}); };
  EXPECT_DEATH((VLLog::setSink({}), insertBeyondEnd()), "outside");
}
