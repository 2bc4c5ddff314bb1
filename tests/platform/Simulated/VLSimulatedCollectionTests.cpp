// Collections: first reload, index paths against the ordering in force, deletions against
// the previous ordering, scopes, and the end of delivery.
#include <filesystem>
#include <functional>
#include <random>
#include <set>

#include "Vaultline/VLItemOrdering.h"
#include "support/SimulatedHarness.h"

namespace {

using simtest::Event;

class VLSimulatedCollections : public simtest::SimulatedTest {};

std::vector<std::string> names(const std::vector<VLItemRef>& items) {
  std::vector<std::string> out;
  for (const auto& item : items) out.push_back(item->filename());
  return out;
}

TEST_F(VLSimulatedCollections, OrdersNewestFirstAndIndexesChangesAgainstTheRightList) {
  auto a = importFile("a.txt", "1");
  auto b = importFile("b.txt", "2");
  auto c = importFile("c.txt", "3");
  auto collection = manager->collectionWithIdentifier(KsVaultlineRootContainerItemIdentifier, std::nullopt,
                                                      provider->providerIdentifier(), {});
  auto recorder = observe(collection);
  std::vector<std::string> reloaded;
  for (const auto& event : recorder->events()) {
    if (event.kind == "reload") reloaded.push_back(event.item->filename());
  }
  EXPECT_EQ(reloaded, (std::vector<std::string>{"c.txt", "b.txt", "a.txt"}));

  size_t mark = recorder->count();
  auto d = importFile("d.txt", "4");
  int insert = recorder->waitFor("insert", "d.txt", mark);
  ASSERT_GE(insert, 0);
  // The insert's row is read from items() at the time of the callback; d is the newest.
  EXPECT_EQ(names(collection->items()).front(), "d.txt");

  mark = recorder->count();
  ASSERT_FALSE(perform(VLDeleteOperation::make({b})));
  EXPECT_GE(recorder->waitFor("delete", "b.txt", mark), 0) << "a deletion names the row of the previous list";
  ASSERT_FALSE(perform(VLDeleteOperation::make({d})));
  EXPECT_GE(recorder->waitFor("delete", "d.txt", mark), 0);
  EXPECT_EQ(names(collection->items()), (std::vector<std::string>{"c.txt", "a.txt"}));
  EXPECT_GT(recorder->batches(), 0);
  for (const auto& event : recorder->events()) EXPECT_TRUE(event.item) << event.kind;
}

TEST_F(VLSimulatedCollections, ReportsTheObservedContainerAndItsChildCount) {
  auto folder = createFolder("Counted");
  auto parent = observeContainer(KsVaultlineRootContainerItemIdentifier);
  auto own = observeContainer(folder->itemIdentifier());
  for (int64_t n = 1; n <= 3; ++n) {
    importFile("child" + std::to_string(n), "x", folder);
    auto counted = [&](const Event& e) {
      return e.item && e.item->itemIdentifier() == folder->itemIdentifier() && e.item->childItemCount() == n;
    };
    EXPECT_GE(parent->waitFor([&](const Event& e) { return e.kind == "update" && counted(e); }), 0) << n;
    EXPECT_GE(own->waitFor([&](const Event& e) { return e.kind == "observed" && counted(e); }), 0) << n;
  }
}

TEST_F(VLSimulatedCollections, StopObservingEndsDelivery) {
  auto collection = manager->collectionWithIdentifier(KsVaultlineRootContainerItemIdentifier, std::nullopt,
                                                      provider->providerIdentifier(), {});
  auto recorder = observe(collection);
  size_t before = recorder->count();
  collection->stopObserving();
  importFile("unseen.txt", "x");
  // The change was posted before the import completed; let the working queue drain it.
  collection->workingQueue()->sync([] {});
  EXPECT_EQ(recorder->count(), before);
  EXPECT_TRUE(collection->items().size() <= 1);
}

// The first enumeration comes later on the working queue, never inside startObserving(): a
// delegate may finish setting itself up right after starting the collection.
TEST_F(VLSimulatedCollections, FirstEnumerationArrivesAfterStartObservingReturned) {
  auto collection = manager->collectionWithIdentifier(KsVaultlineRootContainerItemIdentifier, std::nullopt,
                                                      provider->providerIdentifier(), {});
  auto recorder = std::make_shared<simtest::Recorder>();
  collection->setDelegate(recorder);
  collection->setWorkingQueue(VLDispatchQueue::make("collection-queue"));
  size_t deliveredInside = 1;
  collection->workingQueue()->sync([&] {
    collection->startObserving();
    deliveredInside = recorder->count();
  });
  EXPECT_EQ(deliveredInside, 0u);
  EXPECT_GE(recorder->waitFor([](const Event& e) { return e.kind == "reload"; }), 0);
  collection->workingQueue()->sync([&] { collection->stopObserving(); });
}

TEST_F(VLSimulatedCollections, ScopesThatCannotBeEnumeratedReportAnError) {
  auto missing = observeContainer("no-such-container");
  EXPECT_EQ(missing->events().back().kind, "error");
  auto foreign = observe(manager->newCollectionForProvider("someone.else"));
  EXPECT_EQ(foreign->events().back().kind, "error");

  auto folder = createFolder("Short-lived");
  auto gone = observeContainer(folder->itemIdentifier());
  ASSERT_FALSE(perform(VLDeleteOperation::make({folder})));
  EXPECT_GE(gone->waitFor([](const Event& e) { return e.kind == "error"; }), 0);
}

TEST_F(VLSimulatedCollections, ProviderCollectionSpansTheTree) {
  auto folder = createFolder("Deep");
  importFile("leaf.txt", "x", folder);
  auto everything = observe(manager->newCollectionForProvider(provider->providerID()));
  EXPECT_GE(everything->waitFor("reload", "Deep"), 0);
  EXPECT_GE(everything->waitFor("reload", "leaf.txt"), 0);
  importFile("later.txt", "y", folder);
  EXPECT_GE(everything->waitFor("insert", "later.txt"), 0);
}

// A provider of real size: every seeded file is in the working set, the folders under Bulk
// hold at most 100 each, and nothing is on disk until a path is asked for. Changes to a few
// items of a big collection (whose order is then patched, not sorted again) reach the
// observer at the right rows, and the collection stays in order.
TEST_F(VLSimulatedCollections, SeededItemsFillTheWorkingSetAndStayInOrderThroughChanges) {
  start("seed-items=450");
  auto workingSet = observeContainer(KsVaultlineWorkingSetContainerItemIdentifier);
  auto seeded = workingSet->events();
  ASSERT_EQ(seeded.size(), 450u);
  const std::string bulkFolder = seeded.front().item->parentItemIdentifier();
  auto folders = observeContainer(lookup(bulkFolder)->parentItemIdentifier())->events();
  ASSERT_EQ(folders.size(), 5u);
  std::multiset<int64_t> counts;
  for (const auto& event : folders) counts.insert(event.item->childItemCount().value_or(-1));
  EXPECT_EQ(counts, (std::multiset<int64_t>{50, 100, 100, 100, 100}));
  namespace fs = std::filesystem;
  EXPECT_FALSE(fs::exists(fs::path(service->storageDirectory().path()) / "Root" / "Bulk"));

  auto renamed = seeded[200].item;
  ASSERT_FALSE(perform(VLRenameOperation::make(renamed, "Renamed.txt")));
  EXPECT_GE(workingSet->waitFor("update", "Renamed.txt"), 0);
  ASSERT_FALSE(perform(VLSetLastOpenDateOperation::make({seeded[7].item}, VLDate::now())));
  EXPECT_GE(workingSet->waitFor([&](const Event& e) {
    return e.kind == "update" && e.item->itemIdentifier() == seeded[7].item->itemIdentifier();
  }),
            0);
  auto items = collections.front()->items();
  ASSERT_EQ(items.size(), 450u);
  VLItemOrdering ordering({vl_sortDescriptorByModifiedDateDescending()});
  EXPECT_TRUE(std::is_sorted(items.begin(), items.end(),
                             [&](const VLItemRef& a, const VLItemRef& b) { return ordering.precedes(*a, *b); }));

  auto url = fetchURL(lookup(seeded[3].item->itemIdentifier()), false);
  ASSERT_TRUE(url);
  EXPECT_TRUE(fs::exists(url->path()));
  EXPECT_EQ(fs::file_size(url->path()), 0u);
}

// The working set and the whole-provider collection are kept from the changed items alone.
// After every step of a random mix of changes (tags, favourites and dates on files and
// folders, trash and untrash of folders with tagged contents, moves, renames, deletions,
// imports), each long-lived observer holds what a fresh collection lists, in the same order.
TEST_F(VLSimulatedCollections, WideScopesKeptFromChangesMatchAFreshListing) {
  using Make = std::function<std::shared_ptr<VLItemCollection>()>;
  const std::vector<Make> scopes = {
      [&] { return manager->collectionWithIdentifier(KsVaultlineWorkingSetContainerItemIdentifier, std::nullopt,
                                                     provider->providerIdentifier(), {}); },
      [&] { return manager->newCollectionForProvider(provider->providerID()); }};
  auto identifiers = [](const std::vector<VLItemRef>& items) {
    std::vector<std::string> out;
    for (const auto& item : items) out.push_back(item->itemIdentifier() + (item->isTrashed() ? " (trashed)" : ""));
    return out;
  };
  for (const char* settings : {"", "trashed-children-stay-in-working-set", "rename-changes-identifier"}) {
    SCOPED_TRACE(settings);
    start(settings);
    std::vector<VLItemRef> tree = {createFolder("A"), createFolder("B")};
    tree.push_back(createFolder("Deep", tree[0]));
    for (int i = 0; i < 6; ++i) importFile("f" + std::to_string(i), "x", tree[static_cast<size_t>(i) % 3]);
    std::vector<std::shared_ptr<VLItemCollection>> kept;
    for (const auto& make : scopes) {
      kept.push_back(make());
      observe(kept.back());
    }
    auto check = [&](const std::string& when) {
      for (size_t scope = 0; scope < scopes.size(); ++scope) {
        auto fresh = scopes[scope]();
        observe(fresh);
        kept[scope]->workingQueue()->sync([] {});
        EXPECT_EQ(identifiers(kept[scope]->items()), identifiers(fresh->items())) << when << ", scope " << scope;
        fresh->workingQueue()->sync([&] { fresh->stopObserving(); });
      }
    };
    // A folder whose contents are members moves into a trashed folder and out again.
    ASSERT_FALSE(perform(VLSetTagsOperation::make({lookup(tree[2]->itemIdentifier())}, {{VLTag::make("Blue", 4)}})));
    ASSERT_FALSE(perform(VLTrashOperation::make({lookup(tree[1]->itemIdentifier())})));
    ASSERT_FALSE(perform(VLMoveOperation::make({lookup(tree[0]->itemIdentifier())}, lookup(tree[1]->itemIdentifier()))));
    check("into the trashed folder");
    ASSERT_FALSE(perform(VLMoveOperation::make({lookup(tree[0]->itemIdentifier())}, root())));
    check("out of the trashed folder");
    std::mt19937 random(7);
    auto pick = [&](const std::vector<VLItemRef>& items) { return items[random() % items.size()]; };
    auto red = VLTag::make("Red", 7);
    for (int step = 0; step < 60; ++step) {
      if (kept[1]->items().size() < 4) importFile("e" + std::to_string(step), "z");
      auto everything = kept[1]->items();
      auto item = lookup(pick(everything)->itemIdentifier());
      ASSERT_TRUE(item) << step;
      // Any folder, trashed ones too: what moves into a trashed folder leaves both scopes with its contents.
      std::vector<VLItemRef> folders;
      for (const auto& candidate : everything) {
        if (candidate->isFolder()) folders.push_back(candidate);
      }
      auto folder = folders.empty() ? root() : lookup(pick(folders)->itemIdentifier());
      std::shared_ptr<VLActionOperation> action;
      switch (random() % 9) {
        case 0: action = VLSetTagsOperation::make({item}, {{red}}); break;
        case 1: action = VLSetTagsOperation::make({item}, {{}}); break;
        case 2: action = VLModifyFavoritesOperation::make({item}, {static_cast<int64_t>(step)}); break;
        case 3: action = VLSetLastOpenDateOperation::make({item}, VLDate::now()); break;
        case 4: action = VLTrashOperation::make({item}); break;
        case 5: action = VLUntrashOperation::make({item}, nullptr); break;
        case 6: action = VLMoveOperation::make({item}, folder); break;
        case 7: action = VLRenameOperation::make(item, "r" + std::to_string(step)); break;
        default: importFile("n" + std::to_string(step), "y", folder); break;
      }
      if (action) perform(action);  // some are refused (untrash of an item not in the trash): no matter
      if (step % 7 == 6) perform(VLDeleteOperation::make({item}));
      check("step " + std::to_string(step));
    }
    for (auto& collection : collections) collection->workingQueue()->sync([&] { collection->stopObserving(); });
    collections.clear();
  }
}

class VLSimulatedNoWorkingSet : public simtest::SimulatedTest {
  void SetUp() override { start("working-set=no,collection-latency=1ms"); }
};

TEST_F(VLSimulatedNoWorkingSet, WorkingSetIsUnavailableButDeliveryStillComesLate) {
  auto workingSet = observeContainer(KsVaultlineWorkingSetContainerItemIdentifier);
  EXPECT_EQ(workingSet->events().back().kind, "error");
  auto rootItems = observeContainer(KsVaultlineRootContainerItemIdentifier);
  importFile("slow.txt", "x");
  EXPECT_GE(rootItems->waitFor("insert", "slow.txt"), 0);
}

}  // namespace
