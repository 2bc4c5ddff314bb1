// Each quirk makes the service misbehave in the one way it names.
#include <filesystem>

#include "support/SimulatedHarness.h"

namespace {

using simtest::Event;
namespace fs = std::filesystem;

class VLSimulatedQuirkFaults : public simtest::SimulatedTest {
 protected:
  std::optional<VLData> thumbnailOf(const VLItemRef& item) {
    auto operation = manager->thumbnailsFetchOperationForItems({item}, {50, 50}, 1.0);
    std::optional<VLData> kept;
    operation->setPerThumbnailCompletionBlock([&](const VLItemRef&, const std::optional<VLData>& data,
                                                  const std::string&, const VLErrorRef&) { kept = data; });
    auto queue = VLOperationQueue::make();
    queue->addOperation(operation);
    EXPECT_TRUE(vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, simtest::kWait));
    return kept;
  }
};

TEST_F(VLSimulatedQuirkFaults, NamingAndCollisionFaults) {
  start("case-sensitive-names");
  ASSERT_TRUE(importFile("Hello", "1"));
  EXPECT_TRUE(importFile("hello", "2")) << "names differing in case no longer clash";

  start("no-collision-check");
  ASSERT_TRUE(importFile("Hello", "1"));
  auto second = importFile("Hello", "2");
  ASSERT_TRUE(second);
  EXPECT_EQ(second->filename(), "Hello 2");

  start("collision-names-other-item");
  auto first = importFile("Hello", "1");
  VLErrorRef error;
  importFile("Hello", "2", nullptr, &error);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), VLVaultlineErrorFilenameCollision);
  EXPECT_NE(error->userInfo().at(KsVaultlineErrorItem).objectAs<VLItem>()->itemIdentifier(), first->itemIdentifier());

  start("rename-changes-identifier,rename-marks-not-downloaded");
  auto items = observeContainer(KsVaultlineRootContainerItemIdentifier);
  auto file = importFile("a.txt", "x");
  ASSERT_FALSE(perform(VLRenameOperation::make(file, "b.txt")));
  int renamed = items->waitFor("insert", "b.txt");
  ASSERT_GE(renamed, 0) << "a new identifier is a new row";
  EXPECT_NE(items->events()[renamed].item->itemIdentifier(), file->itemIdentifier());
  EXPECT_FALSE(items->events()[renamed].item->isDownloaded());
}

TEST_F(VLSimulatedQuirkFaults, ChildCountFaults) {
  start("no-child-count");
  EXPECT_FALSE(createFolder("Empty")->childItemCount().has_value());

  start("stale-child-count");
  auto folder = createFolder("Stale");
  importFile("child", "x", folder);
  EXPECT_EQ(lookup(folder->itemIdentifier())->childItemCount(), 0);
}

TEST_F(VLSimulatedQuirkFaults, HierarchyFaults) {
  start("move-out-as-update");
  auto folder = createFolder("Target");
  auto file = importFile("moved.txt", "x");
  auto rootItems = observeContainer(KsVaultlineRootContainerItemIdentifier);
  ASSERT_FALSE(perform(VLMoveOperation::make({file}, folder)));
  EXPECT_GE(rootItems->waitFor([&](const Event& e) {
    return e.kind == "update" && e.item->filename() == "moved.txt" &&
           e.item->parentItemIdentifier() == folder->itemIdentifier();
  }),
            0);
  for (const auto& event : rootItems->events()) EXPECT_NE(event.kind, "delete");

  start("enumeration-wrong-parent");
  importFile("listed.txt", "x");
  auto listing = observeContainer(KsVaultlineRootContainerItemIdentifier);
  int reload = listing->waitFor("reload", "listed.txt");
  ASSERT_GE(reload, 0);
  EXPECT_NE(listing->events()[reload].item->parentItemIdentifier(), KsVaultlineRootContainerItemIdentifier);

  start("lookup-returns-other-identifier");
  auto looked = lookup(KsVaultlineRootContainerItemIdentifier);
  ASSERT_TRUE(looked);
  EXPECT_NE(looked->itemIdentifier(), KsVaultlineRootContainerItemIdentifier);
  EXPECT_TRUE(importFile("still-works.txt", "x", looked)) << "the alias still names the container";

  start("delete-leaves-children-fetchable");
  auto doomed = createFolder("Doomed");
  auto child = importFile("kid.txt", "x", doomed);
  auto url = fetchURL(child, false);
  ASSERT_FALSE(perform(VLDeleteOperation::make({doomed})));
  EXPECT_TRUE(fetchItemForURL(*url));

  start("no-subitem-capability");
  EXPECT_FALSE(root()->capabilities() & VLItemCapabilityAllowsAddingSubItems);
}

TEST_F(VLSimulatedQuirkFaults, TrashFaults) {
  for (const char* quirk : {"untrash-elsewhere", "untrash-detaches-children", "trashed-children-stay-in-working-set"}) {
    start(quirk);
    auto folder = createFolder("F");
    auto child = importFile("K", "x", folder);
    ASSERT_FALSE(perform(VLModifyFavoritesOperation::make({folder}, {1234})));
    ASSERT_FALSE(perform(VLSetLastOpenDateOperation::make({child}, VLDate::now())));
    auto workingSet = observeContainer(KsVaultlineWorkingSetContainerItemIdentifier);
    ASSERT_FALSE(perform(VLTrashOperation::make({folder})));
    ASSERT_GE(
        workingSet->waitFor([](const Event& e) { return e.item && e.item->filename() == "F" && e.item->isTrashed(); }),
        0);
    auto events = workingSet->events();  // the trash arrives as one batch: a deletion comes with it
    bool childStayed = std::none_of(events.begin(), events.end(), [](const Event& e) { return e.kind == "delete"; });
    ASSERT_FALSE(perform(VLUntrashOperation::make({folder}, nullptr)));
    auto restoredFolder = lookup(folder->itemIdentifier());
    auto restoredChild = lookup(child->itemIdentifier());
    std::string name = quirk;
    EXPECT_EQ(restoredFolder->parentItemIdentifier() != KsVaultlineRootContainerItemIdentifier,
              name == "untrash-elsewhere")
        << name;
    EXPECT_EQ(restoredChild->parentItemIdentifier() != folder->itemIdentifier(), name == "untrash-detaches-children")
        << name;
    EXPECT_EQ(childStayed, name == "trashed-children-stay-in-working-set") << name;
  }
}

TEST_F(VLSimulatedQuirkFaults, ContentAndTransferFaults) {
  start("all-files-public-data,corrupt-content");
  auto file = importFile("notes.txt", "exact bytes");
  EXPECT_EQ(file->typeIdentifier(), "public.data");
  EXPECT_NE(VLFileManager::defaultManager().contentsAtURL(*fetchURL(file, false))->stringValue(), "exact bytes");

  start("never-upload");
  auto pending = importFile("stuck.txt", "x");
  auto later = lookup(pending->itemIdentifier());  // queued after any upload the import started
  EXPECT_FALSE(later->isUploaded());
  EXPECT_TRUE(perform(VLEvictOperation::make({pending}))) << "nothing uploaded, nothing to evict";

  start("eviction-keeps-content");
  auto kept = importFile("kept.txt", "x");
  ASSERT_TRUE(lookup(kept->itemIdentifier())->isUploaded());
  ASSERT_FALSE(perform(VLEvictOperation::make({kept})));
  EXPECT_FALSE(lookup(kept->itemIdentifier())->isDownloaded());
  EXPECT_TRUE(VLFileManager::defaultManager().checkResourceIsReachable(*fetchURL(kept, true)));
}

TEST_F(VLSimulatedQuirkFaults, UserStateFaults) {
  start("tags-dropped,last-used-date-offset");
  auto file = importFile("t.txt", "x");
  ASSERT_FALSE(perform(VLSetTagsOperation::make({file}, {{VLTag::make("Red", 7)}})));
  VLDate when = VLDate::now();
  ASSERT_FALSE(perform(VLSetLastOpenDateOperation::make({file}, when)));
  auto after = lookup(file->itemIdentifier());
  EXPECT_TRUE(after->tags().empty());
  EXPECT_NEAR(after->lastUsedDate()->timeIntervalSinceDate(when), 2.0, 1e-6);
}

TEST_F(VLSimulatedQuirkFaults, ThumbnailFaults) {
  std::string jpeg = simtest::redGreenJPEG();
  start("thumbnails-upside-down");
  auto flipped = thumbnailOf(importFile("p.jpeg", jpeg));
  ASSERT_TRUE(flipped);
  auto pixels = VLImageCodec::decode(*flipped)->floatPixelsScaledTo(50, 50);
  EXPECT_GT(pixels[10000 / 4], 0.9f) << "red where green belongs";
  EXPECT_GT(pixels[29200 / 4 + 1], 0.9f) << "green where red belongs";

  start("no-thumbnails");
  EXPECT_FALSE(thumbnailOf(importFile("p.jpeg", jpeg)));
}

}  // namespace
