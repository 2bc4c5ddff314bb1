// The host's collection bookkeeping against scripted change sequences: which rows each
// reported batch deletes, inserts, updates and moves, against which ordering.
#include <gtest/gtest.h>

#include <random>

#include "Vaultline/VLCollectionModel.h"

namespace {

VLItemRef item(const std::string& identifier, double modified, const std::string& name = "") {
  VLItemAttributes a;
  a.itemIdentifier = identifier;
  a.filename = name.empty() ? identifier + ".txt" : name;
  a.contentModificationDate = VLDate(modified);
  return VLItem::make(std::move(a));
}

std::vector<size_t> rows(const VLIndexPaths& paths) {
  std::vector<size_t> out;
  for (const auto& path : paths) out.push_back(path.indexAtPosition(1));
  return out;
}

std::vector<std::string> order(const VLCollectionModel& model) {
  std::vector<std::string> out;
  for (const auto& entry : model.items()) out.push_back(entry->itemIdentifier());
  return out;
}

using Rows = std::vector<size_t>;
using Names = std::vector<std::string>;

class VLCollectionModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    model.setDescriptors({vl_sortDescriptorByModifiedDateDescending()});
    model.reload({item("a", 10), item("b", 30), item("c", 20)});
  }
  VLCollectionModel model;
};

TEST_F(VLCollectionModelTest, ReloadOrdersNewestFirstAndKeepsTheLastOfRepeatedIdentifiers) {
  EXPECT_EQ(order(model), (Names{"b", "c", "a"}));
  model.reload({item("x", 1), item("y", 2), item("x", 3)});
  EXPECT_EQ(order(model), (Names{"x", "y"}));
  EXPECT_EQ(model.items().front()->contentModificationDate()->timeIntervalSince1970(), 3);
}

TEST_F(VLCollectionModelTest, IndexesEachKindOfChangeAgainstTheRightOrdering) {
  // Insert at the top: the new row is counted in the new ordering.
  auto changes = model.apply({}, {item("d", 40)});
  EXPECT_EQ(rows(changes.inserted), Rows{0});
  EXPECT_TRUE(changes.deleted.empty() && changes.updated.empty() && changes.movedTo.empty());

  // Delete: rows of the previous ordering (d b c a → d b a deletes row 2).
  changes = model.apply({"c"}, {});
  EXPECT_EQ(rows(changes.deleted), Rows{2});
  EXPECT_EQ(order(model), (Names{"d", "b", "a"}));

  // An update that keeps its place is an update only.
  changes = model.apply({}, {item("b", 35, "renamed.txt")});
  EXPECT_EQ(rows(changes.updated), Rows{1});
  EXPECT_TRUE(changes.movedTo.empty());
  EXPECT_EQ(model.items()[1]->filename(), "renamed.txt");

  // An update that reorders: a becomes newest; it is updated at its new row, and every item
  // whose place among the remaining ones changed is a move (from old row to new row).
  changes = model.apply({}, {item("a", 50)});
  EXPECT_EQ(rows(changes.updated), Rows{0});
  EXPECT_EQ(rows(changes.movedFrom), (Rows{2, 0, 1}));
  EXPECT_EQ(rows(changes.movedTo), (Rows{0, 1, 2}));
  EXPECT_EQ(order(model), (Names{"a", "d", "b"}));
}

TEST_F(VLCollectionModelTest, OneBatchMixesKindsAndIgnoresDeletionsOfNonMembers) {
  // b c a → (delete c, delete unknown, insert e, update a to the top) → a e b
  auto changes = model.apply({"c", "not-a-member"}, {item("e", 35), item("a", 60)});
  EXPECT_EQ(order(model), (Names{"a", "e", "b"}));
  EXPECT_EQ(rows(changes.deleted), Rows{1});
  EXPECT_EQ(rows(changes.inserted), Rows{1});
  EXPECT_EQ(rows(changes.updated), Rows{0});
  EXPECT_EQ(rows(changes.movedFrom), (Rows{2, 0}));
  EXPECT_EQ(rows(changes.movedTo), (Rows{0, 2}));

  // A batch of deletions that are all unknown changes nothing.
  EXPECT_TRUE(model.apply({"ghost"}, {}).empty());
  // Deleted and re-reported in one batch: the item stays, as an update.
  changes = model.apply({"e"}, {item("e", 35)});
  EXPECT_EQ(rows(changes.updated), Rows{1});
  EXPECT_TRUE(changes.deleted.empty() && changes.inserted.empty());
}

TEST_F(VLCollectionModelTest, TiesAndMissingDatesFollowTheSharedOrdering) {
  VLItemAttributes undated;
  undated.itemIdentifier = "u";
  undated.filename = "u.txt";
  model.reload({item("b", 5, "B.txt"), item("a", 5, "a.txt"), VLItem::make(undated)});
  // No date sorts before every dated item in newest-first order; equal dates by name, ignoring case.
  EXPECT_EQ(order(model), (Names{"u", "a", "b"}));
  model.setDescriptors({});
  EXPECT_EQ(order(model), (Names{"a", "b", "u"}));
}

// Small batches against a large list take the model's row-by-row path; large ones a whole
// diff. Both must report exactly what a diff of the lists before and after reports, for every
// mix of kinds, in two orderings.
TEST(VLCollectionModelBatches, ReportTheSameChangesAsADiffOfTheWholeLists) {
  std::mt19937 random(7);
  for (const auto& descriptors : {std::vector<VLSortDescriptor>{vl_sortDescriptorByModifiedDateDescending()},
                                  std::vector<VLSortDescriptor>{}}) {
    VLCollectionModel model;
    model.setDescriptors(descriptors);
    std::vector<VLItemRef> start;
    for (int i = 0; i < 200; ++i) start.push_back(item("i" + std::to_string(i), i % 37));
    model.reload(start);
    int next = 200;
    for (int round = 0; round < 400; ++round) {
      auto before = model.snapshot();
      std::vector<std::string> deleted;
      std::vector<VLItemRef> updated;
      // Mostly a handful of changes (the row-by-row path), now and then a sweeping batch.
      size_t count = round % 50 == 49 ? 80 : 1 + random() % 6;
      for (size_t k = 0; k < count; ++k) {
        const auto& members = *model.snapshot();
        const std::string& someone = members[random() % members.size()]->itemIdentifier();
        switch (random() % 5) {
          case 0: deleted.push_back(someone); break;
          case 1: deleted.push_back("ghost"); break;
          case 2: updated.push_back(item("n" + std::to_string(next++), random() % 40)); break;
          case 3: updated.push_back(item(someone, random() % 40)); break;  // may move
          default: updated.push_back(item(someone, 0, someone + ".renamed")); break;
        }
      }
      auto changes = model.apply(deleted, updated);
      auto after = model.snapshot();
      std::vector<std::string> oldNames, newNames;
      for (const auto& entry : *before) oldNames.push_back(entry->itemIdentifier());
      for (const auto& entry : *after) newNames.push_back(entry->itemIdentifier());
      auto expected = VLCollectionChanges::between(oldNames, newNames, [&](size_t from, size_t row) {
        return (*before)[from] != (*after)[row];
      });
      ASSERT_EQ(rows(changes.deleted), rows(expected.deleted)) << round;
      ASSERT_EQ(rows(changes.inserted), rows(expected.inserted)) << round;
      ASSERT_EQ(rows(changes.updated), rows(expected.updated)) << round;
      ASSERT_EQ(rows(changes.movedFrom), rows(expected.movedFrom)) << round;
      ASSERT_EQ(rows(changes.movedTo), rows(expected.movedTo)) << round;
      ASSERT_EQ(changes.updateKeys.size(), expected.updateKeys.size());
    }
  }
}

}  // namespace
