// Actions carried out for real: their effect on items, files on disk and collections.
#include <filesystem>
#include <thread>

#include "support/SimulatedHarness.h"

namespace {

using simtest::Event;
namespace fs = std::filesystem;

class VLSimulatedActions : public simtest::SimulatedTest {};

std::string contentsOf(const VLURL& url) {
  auto data = VLFileManager::defaultManager().contentsAtURL(url);
  return data ? data->stringValue() : "<unreadable>";
}

TEST_F(VLSimulatedActions, CompletesLaterOnAnotherThread) {
  // The completion waits for a gate that opens only after scheduleAction() has returned,
  // so a completion run inside the call would be caught waiting out the gate.
  auto caller = std::this_thread::get_id();
  auto gate = VLSemaphore::make(), done = VLSemaphore::make();
  std::atomic<bool> returned{false}, completedBeforeReturn{false};
  std::thread::id completionThread;
  auto action = VLCreateFolderOperation::make(root(), "Async");
  action->setActionCompletionBlock([&, gate, done](VLErrorRef) {
    gate->wait(simtest::kWait);
    completedBeforeReturn = !returned.load();
    completionThread = std::this_thread::get_id();
    done->signal();
  });
  manager->scheduleAction(action);
  returned = true;
  gate->signal();
  ASSERT_TRUE(done->wait(simtest::kWait));
  EXPECT_FALSE(completedBeforeReturn.load());
  EXPECT_NE(completionThread, caller);
}

TEST_F(VLSimulatedActions, ImportKeepsBytesOnDiskAndReportsCoherentAttributes) {
  auto items = observeContainer(KsVaultlineRootContainerItemIdentifier);
  auto file = importFile("notes.txt", "some test data");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->parentItemIdentifier(), KsVaultlineRootContainerItemIdentifier);
  EXPECT_EQ(file->typeIdentifier(), "public.plain-text");
  EXPECT_EQ(file->documentSize(), 14);
  EXPECT_TRUE(file->isDownloaded());
  EXPECT_FALSE(file->isFolder());
  EXPECT_TRUE(file->contentModificationDate().has_value());

  auto url = fetchURL(file, false);
  ASSERT_TRUE(url);
  EXPECT_EQ(url->path().rfind(VLFileManager::defaultManager().temporaryDirectory().path(), 0), 0u);
  EXPECT_EQ(contentsOf(*url), "some test data");
  auto back = fetchItemForURL(*url);
  ASSERT_TRUE(back);
  EXPECT_EQ(back->itemIdentifier(), file->itemIdentifier());

  // The new file appears as an insert, then its upload finishes as an update.
  EXPECT_GE(items->waitFor("insert", "notes.txt"), 0);
  EXPECT_GE(items->waitFor([](const Event& e) { return e.kind == "update" && e.item->isUploaded(); }), 0);
  auto rootItem = root();
  EXPECT_EQ(rootItem->childItemCount(), 1);
  EXPECT_TRUE(rootItem->capabilities() & VLItemCapabilityAllowsAddingSubItems);
}

TEST_F(VLSimulatedActions, CopiesFolderTreesAndPackages) {
  auto temp = VLFileManager::defaultManager().temporaryDirectory();
  auto tree = temp.URLByAppendingPathComponent("Tree", true);
  auto package = temp.URLByAppendingPathComponent("Letter.rtfd", true);
  auto& files = VLFileManager::defaultManager();
  files.createDirectoryAtURL(tree.URLByAppendingPathComponent("Inner", true), true);
  files.writeData(VLData::fromString("a"), tree.URLByAppendingPathComponent("a.txt", false), false);
  files.writeData(VLData::fromString("b"),
                  tree.URLByAppendingPathComponent("Inner", true).URLByAppendingPathComponent("b.txt", false), false);
  files.createDirectoryAtURL(package, true);
  files.writeData(VLData::fromString("{\\rtf1 Not very fancy}"), package.URLByAppendingPathComponent("TXT.rtf", false),
                  false);

  auto copy =
      VLCopyOperation::makeWithURLs({tree, package, temp.URLByAppendingPathComponent("missing", false)}, root());
  VLErrorRef error = perform(copy);
  auto results = copy->transferResults();
  ASSERT_EQ(results.size(), 2u);
  ASSERT_EQ(copy->errorsByItem().size(), 1u);
  EXPECT_TRUE(error);  // the missing source

  auto folder = results[tree];
  EXPECT_TRUE(folder->isFolder());
  EXPECT_EQ(folder->typeIdentifier(), "public.folder");
  EXPECT_EQ(folder->childItemCount(), 2);
  auto letter = results[package];
  EXPECT_FALSE(letter->isContainer());
  EXPECT_TRUE(service->typeDatabase().conforms(letter->typeIdentifier(), VLPackageTypeIdentifier));
  auto letterURL = fetchURL(letter, false);
  ASSERT_TRUE(letterURL);
  EXPECT_EQ(contentsOf(letterURL->URLByAppendingPathComponent("TXT.rtf", false)), "{\\rtf1 Not very fancy}");

  auto inner = observe(manager->collectionForFolderItem(folder));
  EXPECT_GE(inner->waitFor("reload", "Inner"), 0);
  EXPECT_GE(inner->waitFor("reload", "a.txt"), 0);
}

TEST_F(VLSimulatedActions, RefusesClashingNamesWithoutRegardToCase) {
  auto first = importFile("Report.txt", "one");
  ASSERT_TRUE(first);
  VLErrorRef error;
  EXPECT_FALSE(importFile("report.TXT", "two", nullptr, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), KsVaultlineErrorDomain);
  EXPECT_EQ(error->code(), VLVaultlineErrorFilenameCollision);
  auto existing = error->userInfo().at(KsVaultlineErrorItem).objectAs<VLItem>();
  ASSERT_TRUE(existing);
  EXPECT_EQ(existing->itemIdentifier(), first->itemIdentifier());

  createFolder("Stuff");
  EXPECT_FALSE(createFolder("STUFF", nullptr, &error));
  EXPECT_EQ(error->code(), VLVaultlineErrorFilenameCollision);
  EXPECT_EQ(perform(VLRenameOperation::make(first, "STUFF"))->code(), VLVaultlineErrorFilenameCollision);
  EXPECT_FALSE(perform(VLRenameOperation::make(first, "REPORT.txt")));  // its own name in another case
}

TEST_F(VLSimulatedActions, RenameKeepsIdentifierAndMovesBytes) {
  auto items = observeContainer(KsVaultlineRootContainerItemIdentifier);
  auto file = importFile("draft.txt", "words");
  ASSERT_FALSE(perform(VLRenameOperation::make(file, "draft.txt_renamed")));
  int update = items->waitFor("update", "draft.txt_renamed");
  ASSERT_GE(update, 0);
  auto renamed = items->events()[update].item;
  EXPECT_EQ(renamed->itemIdentifier(), file->itemIdentifier());
  EXPECT_TRUE(renamed->isDownloaded());
  EXPECT_EQ(contentsOf(*fetchURL(renamed, false)), "words");
}

TEST_F(VLSimulatedActions, MoveReportsTransferResultsAndLeavesTheSourceCollection) {
  auto folder = createFolder("Target");
  auto file = importFile("moving.txt", "x");
  auto rootItems = observeContainer(KsVaultlineRootContainerItemIdentifier);
  auto targetItems = observeContainer(folder->itemIdentifier());
  auto move = VLMoveOperation::make({file}, folder);
  ASSERT_FALSE(perform(move));
  auto after = move->transferResultForItem(file);
  ASSERT_TRUE(after);
  EXPECT_EQ(after->parentItemIdentifier(), folder->itemIdentifier());
  EXPECT_GE(rootItems->waitFor("delete", "moving.txt"), 0);
  EXPECT_GE(targetItems->waitFor("insert", "moving.txt"), 0);
  int update = rootItems->waitFor([&](const Event& e) {
    return e.kind == "update" && e.item->itemIdentifier() == folder->itemIdentifier() && e.item->childItemCount() == 1;
  });
  EXPECT_GE(update, 0) << "the folder's new child count shows in its parent's collection";
  EXPECT_EQ(contentsOf(*fetchURL(after, false)), "x");
  EXPECT_TRUE(perform(VLMoveOperation::make({folder}, folder)));  // into itself

  // Moving an item out of the trash takes it out of the trash.
  ASSERT_FALSE(perform(VLTrashOperation::make({after})));
  ASSERT_TRUE(lookup(file->itemIdentifier())->isTrashed());
  auto rescue = VLMoveOperation::make({after}, root());
  ASSERT_FALSE(perform(rescue));
  auto rescued = lookup(file->itemIdentifier());
  EXPECT_FALSE(rescued->isTrashed());
  EXPECT_FALSE(rescue->transferResultForItem(after)->isTrashed());
  EXPECT_EQ(rescued->parentItemIdentifier(), KsVaultlineRootContainerItemIdentifier);
  EXPECT_EQ(contentsOf(*fetchURL(rescued, false)), "x");
  EXPECT_TRUE(fs::is_empty(service->storageDirectory().path() + "/.Trash"));
}

TEST_F(VLSimulatedActions, DeleteRemovesTreesAndTheirURLs) {
  auto folder = createFolder("Doomed");
  auto child = importFile("inside.txt", "x", folder);
  auto url = fetchURL(child, false);
  ASSERT_TRUE(url);
  ASSERT_FALSE(perform(VLDeleteOperation::make({folder})));
  EXPECT_FALSE(fetchItemForURL(*url));
  EXPECT_FALSE(lookup(child->itemIdentifier()));
  EXPECT_FALSE(fs::exists(url->path()));
  EXPECT_EQ(root()->childItemCount(), 0);
}

TEST_F(VLSimulatedActions, TrashAndUntrashThroughTheWorkingSet) {
  auto workingSet = observeContainer(KsVaultlineWorkingSetContainerItemIdentifier);
  auto folder = createFolder("Bin me");
  auto child = importFile("kid.txt", "x", folder);
  ASSERT_FALSE(perform(VLModifyFavoritesOperation::make({folder}, {1234})));
  ASSERT_FALSE(perform(VLSetLastOpenDateOperation::make({child}, VLDate::now())));
  ASSERT_GE(workingSet->waitFor("insert", "kid.txt"), 0);
  size_t mark = workingSet->count();

  ASSERT_FALSE(perform(VLTrashOperation::make({folder})));
  EXPECT_GE(workingSet->waitFor(
                [](const Event& e) { return e.item && e.item->filename() == "Bin me" && e.item->isTrashed(); }, mark),
            0);
  EXPECT_GE(workingSet->waitFor("delete", "kid.txt", mark), 0);
  EXPECT_EQ(root()->childItemCount(), 0);

  mark = workingSet->count();
  ASSERT_FALSE(perform(VLUntrashOperation::make({folder}, nullptr)));
  int back = workingSet->waitFor(
      [](const Event& e) { return e.item && e.item->filename() == "Bin me" && !e.item->isTrashed(); }, mark);
  ASSERT_GE(back, 0);
  EXPECT_EQ(workingSet->events()[back].item->parentItemIdentifier(), KsVaultlineRootContainerItemIdentifier);
  int kid = workingSet->waitFor("insert", "kid.txt", mark);
  ASSERT_GE(kid, 0);
  EXPECT_EQ(workingSet->events()[kid].item->parentItemIdentifier(), folder->itemIdentifier());
  EXPECT_EQ(contentsOf(*fetchURL(child, false)), "x");
}

TEST_F(VLSimulatedActions, UserStateActionsReachContainerAndWorkingSet) {
  auto file = importFile("tagged.txt", "x");
  auto container = observeContainer(KsVaultlineRootContainerItemIdentifier);
  auto workingSet = observeContainer(KsVaultlineWorkingSetContainerItemIdentifier);
  auto red = VLTag::make("Red", 7);
  ASSERT_FALSE(perform(VLSetTagsOperation::make({file}, {{red}})));
  auto hasTag = [&](const Event& e) {
    return e.item && e.item->tags().size() == 1 && e.item->tags()[0]->isEqual(*red);
  };
  EXPECT_GE(container->waitFor(hasTag), 0);
  EXPECT_GE(workingSet->waitFor(hasTag), 0);

  VLDate when = VLDate::now();
  ASSERT_FALSE(perform(VLSetLastOpenDateOperation::make({file}, when)));
  EXPECT_GE(workingSet->waitFor([&](const Event& e) { return e.item && e.item->lastUsedDate() == when; }), 0);
  EXPECT_TRUE(perform(VLSetTagsOperation::make({file}, {})));  // one tag list per item
  EXPECT_TRUE(perform(VLSetTagsOperation::make({file}, {{red, nullptr}})));
  EXPECT_EQ(lookup(file->itemIdentifier())->tags().size(), 1u) << "a refused tag list changes nothing";
}

}  // namespace

namespace {

// A failed disk operation comes back as the action's error, and the tree stays as it was:
// no action reports success after losing or not writing content.
TEST_F(VLSimulatedActions, DiskFailuresAreTheActionsErrorAndChangeNothing) {
  auto folder = createFolder("Folder");
  auto file = importFile("a.txt", "bytes", folder);
  ASSERT_TRUE(folder && file);
  auto fileURL = fetchURL(file, false);
  auto folderURL = fetchURL(folder, false);
  ASSERT_TRUE(fileURL && folderURL);

  fs::remove(fileURL->path());  // the local copy vanishes behind the provider's back
  auto elsewhere = createFolder("Elsewhere");
  EXPECT_TRUE(perform(VLRenameOperation::make(file, "b.txt")));
  EXPECT_TRUE(perform(VLMoveOperation::make({file}, elsewhere)));
  EXPECT_TRUE(perform(VLTrashOperation::make({file})));
  auto unchanged = lookup(file->itemIdentifier());
  ASSERT_TRUE(unchanged);
  EXPECT_EQ(unchanged->filename(), "a.txt");
  EXPECT_EQ(unchanged->parentItemIdentifier(), folder->itemIdentifier());
  EXPECT_FALSE(unchanged->isTrashed());

  fs::remove_all(folderURL->path());  // the folder's directory vanishes too
  VLErrorRef error;
  EXPECT_FALSE(createFolder("Inner", folder, &error));
  EXPECT_TRUE(error);
  EXPECT_FALSE(importFile("c.txt", "more", folder, &error));
  EXPECT_TRUE(error);
  EXPECT_EQ(lookup(folder->itemIdentifier())->childItemCount(), 1);
}

// Names a directory entry cannot hold are refused before anything changes.
TEST_F(VLSimulatedActions, RefusesNamesTheDiskCannotHold) {
  auto file = importFile("name.txt", "bytes");
  ASSERT_TRUE(file);
  for (const std::string& name : {std::string(256, 'n'), std::string(""), std::string("."), std::string(".."),
                                 std::string("a/b"), std::string("a\0b", 3)}) {
    VLErrorRef error = perform(VLRenameOperation::make(file, name));
    ASSERT_TRUE(error) << name.size();
    EXPECT_EQ(error->code(), EINVAL);
    VLErrorRef folderError;
    EXPECT_FALSE(createFolder(name, nullptr, &folderError));
    EXPECT_TRUE(folderError);
  }
  EXPECT_EQ(lookup(file->itemIdentifier())->filename(), "name.txt");
  EXPECT_FALSE(perform(VLRenameOperation::make(file, std::string(255, 'n'))));
}

// A fresh provider holds a sample tree two levels deep, every item naming its real parent.
TEST_F(VLSimulatedActions, AFreshProviderHoldsASampleTree) {
  start("seed=sample");
  std::map<std::string, VLItemRef> byName;
  std::vector<std::string> folders{KsVaultlineRootContainerItemIdentifier};
  for (size_t i = 0; i < folders.size(); ++i) {
    auto recorder = observeContainer(folders[i]);
    for (const auto& event : recorder->events()) {
      if (!event.item) continue;
      EXPECT_EQ(event.item->parentItemIdentifier(), folders[i]);
      byName[event.item->filename()] = event.item;
      if (event.item->isFolder()) folders.push_back(event.item->itemIdentifier());
    }
  }
  EXPECT_EQ(folders.size(), 4u);  // the root, Documents, Drafts, Photos
  for (const char* name : {"Welcome.txt", "Notes.txt", "Outline.txt", "Harbour.jpeg", "Report.rtfd"}) {
    ASSERT_TRUE(byName.count(name)) << name;
    EXPECT_TRUE(byName[name]->isUploaded()) << name;
  }
  EXPECT_EQ(byName["Harbour.jpeg"]->typeIdentifier(), "public.jpeg");
  EXPECT_EQ(byName["Report.rtfd"]->typeIdentifier(), "public.rtfd");
  EXPECT_TRUE(
      VLImageCodec::decode(*VLFileManager::defaultManager().contentsAtURL(*fetchURL(byName["Harbour.jpeg"], false))));
}

}  // namespace
