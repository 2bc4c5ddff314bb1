// The folder store: identity across renames, moves, copies and restarts; names that collide
// regardless of case; the freedesktop.org trash layout; attributes kept in the file system.
#include <fstream>
#include <sstream>
#include <unistd.h>

#include "Core/VLException.h"
#include "DirStoreFixture.h"
#include "Vaultline/VLBitmap.h"
#include "Vaultline/VLImageCodec.h"
#include "vlprovider-dir/VLDirAttributes.h"
#include "vlprovider-dir/VLDirTrash.h"

namespace {
std::string trashFolder(const std::string& root) { return root + "/" + VLDirTrash::folderName(); }

std::string readText(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

bool named(const std::vector<VLItemRef>& items, const std::string& filename) {
  for (const auto& item : items) {
    if (item->filename() == filename) return true;
  }
  return false;
}
}  // namespace

TEST_F(DirStoreFixture, IdentifiersSurviveRenamesMovesTrashingAndRestarts) {
  auto a = folder("A");
  auto file = import("f.txt");
  auto inner = folder("B", a->itemIdentifier());
  ASSERT_TRUE(a && file && inner);
  EXPECT_FALSE(store_->rename(file->itemIdentifier(), "g.txt"));
  VLErrorRef error;
  EXPECT_TRUE(store_->move(file->itemIdentifier(), a->itemIdentifier(), &error)) << error;
  EXPECT_FALSE(store_->trash(inner->itemIdentifier()));
  EXPECT_FALSE(store_->rename(a->itemIdentifier(), "A2"));

  close();
  open();
  ASSERT_TRUE(at("A2/g.txt"));
  EXPECT_EQ(at("A2/g.txt")->itemIdentifier(), file->itemIdentifier());
  EXPECT_EQ(at("A2")->itemIdentifier(), a->itemIdentifier());
  auto trashed = store_->item(inner->itemIdentifier());
  ASSERT_TRUE(trashed);
  EXPECT_TRUE(trashed->isTrashed());
  EXPECT_EQ(trashed->filename(), "B");
  // Restored into its folder although that folder was renamed while it was in the trash.
  EXPECT_FALSE(store_->untrash(inner->itemIdentifier(), ""));
  EXPECT_EQ(store_->item(inner->itemIdentifier())->parentItemIdentifier(), a->itemIdentifier());
}

TEST_F(DirStoreFixture, CopiesThatCarryTheAttributesGetIdentifiersOfTheirOwn) {
  for (bool whileRunning : {true, false}) {
    SCOPED_TRACE(whileRunning ? "copied while running" : "copied while stopped");
    std::string suffix = whileRunning ? "1" : "2";
    auto tree = folder("tree" + suffix);
    auto leaf = import("leaf.txt", tree->itemIdentifier());
    auto file = import("zz" + suffix + ".txt");
    if (!whileRunning) close();
    // Names that sort before the originals, so a scan meets the copies first.
    shell("cp -a '" + root_ + "/zz" + suffix + ".txt' '" + root_ + "/aa" + suffix + ".txt'");
    shell("cp -a '" + root_ + "/tree" + suffix + "' '" + root_ + "/copy" + suffix + "'");
    if (!whileRunning) open();
    ASSERT_TRUE(waitUntil([&] { return at("aa" + suffix + ".txt") && at("copy" + suffix + "/leaf.txt"); }));
    EXPECT_EQ(at("zz" + suffix + ".txt")->itemIdentifier(), file->itemIdentifier());
    EXPECT_NE(at("aa" + suffix + ".txt")->itemIdentifier(), file->itemIdentifier());
    EXPECT_EQ(at("tree" + suffix + "/leaf.txt")->itemIdentifier(), leaf->itemIdentifier());
    EXPECT_NE(at("copy" + suffix + "/leaf.txt")->itemIdentifier(), leaf->itemIdentifier());
    EXPECT_NE(at("copy" + suffix)->itemIdentifier(), tree->itemIdentifier());
    // And the copies keep the identifiers they were given.
    std::string copy = at("aa" + suffix + ".txt")->itemIdentifier();
    close();
    open();
    EXPECT_EQ(at("aa" + suffix + ".txt")->itemIdentifier(), copy);
    EXPECT_EQ(at("zz" + suffix + ".txt")->itemIdentifier(), file->itemIdentifier());
  }
}

TEST_F(DirStoreFixture, NamesCollideRegardlessOfCaseWhileTheTypedCaseIsKept) {
  auto box = folder("Box");
  auto existing = import("Report.txt", box->itemIdentifier());
  ASSERT_TRUE(box && existing);
  for (const std::string& name : {std::string("Report.txt"), std::string("report.TXT")}) {
    SCOPED_TRACE(name);
    std::map<std::string, VLErrorRef> errors;
    VLErrorRef error;
    store_->importItem(source(name), false, box->itemIdentifier(), &error);
    errors["import"] = error;
    store_->createFolder(box->itemIdentifier(), name, &error);
    errors["create folder"] = error;
    auto victim = import(name);
    ASSERT_TRUE(victim);
    errors["move"] = nullptr;
    store_->move(victim->itemIdentifier(), box->itemIdentifier(), &errors["move"]);
    auto renamed = import("y" + name);
    errors["rename"] = store_->rename(renamed->itemIdentifier(), name);  // collides with the victim at the top
    EXPECT_FALSE(store_->trash(victim->itemIdentifier()));
    auto blocker = import(name);
    errors["untrash"] = store_->untrash(victim->itemIdentifier(), "");
    for (const auto& [action, failure] : errors) {
      SCOPED_TRACE(action);
      ASSERT_TRUE(failure);
      EXPECT_EQ(failure->domain(), KsVaultlineErrorDomain);
      EXPECT_EQ(failure->code(), VLVaultlineErrorFilenameCollision);
    }
    EXPECT_FALSE(store_->remove(blocker->itemIdentifier()));
    EXPECT_FALSE(store_->remove(victim->itemIdentifier()));
    EXPECT_FALSE(store_->remove(renamed->itemIdentifier()));
  }
  // The name is reported as typed, and a change of case alone is a rename like any other.
  auto mixed = import("MiXeD.Txt");
  EXPECT_EQ(mixed->filename(), "MiXeD.Txt");
  EXPECT_FALSE(store_->rename(mixed->itemIdentifier(), "mixed.txt"));
  EXPECT_EQ(store_->item(mixed->itemIdentifier())->filename(), "mixed.txt");
  EXPECT_EQ(store_->item(mixed->itemIdentifier())->typeIdentifier(), "public.plain-text");
}

TEST_F(DirStoreFixture, TrashFollowsTheFreedesktopLayoutAndRestoresToTheOriginalPlace) {
  auto parent = folder("Projects");
  auto first = folder("Draft", parent->itemIdentifier());
  auto child = import("notes.txt", first->itemIdentifier());
  auto second = folder("Draft");
  ASSERT_TRUE(parent && first && child && second);
  EXPECT_FALSE(store_->setFavoriteRank(first->itemIdentifier(), 1234));
  EXPECT_FALSE(store_->setLastUsedDate(child->itemIdentifier(), VLDate(1732183200.5)));
  VLErrorRef error;
  EXPECT_EQ(store_->enumerate(VLDirStore::Scope::WorkingSet, "", &error).size(), 2u);

  EXPECT_FALSE(store_->trash(first->itemIdentifier()));
  EXPECT_FALSE(store_->trash(second->itemIdentifier()));
  std::string trash = trashFolder(root_);
  EXPECT_TRUE(std::filesystem::is_regular_file(trash + "/files/Draft/notes.txt"));
  EXPECT_TRUE(std::filesystem::is_directory(trash + "/files/Draft.2"));
  EXPECT_NE(readText(trash + "/info/Draft.trashinfo").find("Path=Projects/Draft\n"), std::string::npos);
  EXPECT_NE(readText(trash + "/info/Draft.2.trashinfo").find("Path=Draft\n"), std::string::npos);
  EXPECT_EQ((std::filesystem::status(trash).permissions() & std::filesystem::perms::all),
            std::filesystem::perms::owner_all);

  // The trash is hidden; a trashed item names the trash as its parent and keeps its name;
  // what it holds leaves the working set and the provider scope, the item itself stays.
  auto top = store_->enumerate(VLDirStore::Scope::Container, KsVaultlineRootContainerItemIdentifier, &error);
  EXPECT_EQ(top.size(), 1u);
  EXPECT_TRUE(named(top, "Projects"));
  auto trashed = store_->item(second->itemIdentifier());
  EXPECT_TRUE(trashed->isTrashed());
  EXPECT_EQ(trashed->filename(), "Draft");
  EXPECT_EQ(trashed->parentItemIdentifier(), VLDirStore::kTrashIdentifier);
  EXPECT_EQ(store_->item(child->itemIdentifier())->parentItemIdentifier(), first->itemIdentifier());
  EXPECT_FALSE(store_->item(child->itemIdentifier())->isTrashed());
  auto working = store_->enumerate(VLDirStore::Scope::WorkingSet, "", &error);
  ASSERT_EQ(working.size(), 1u);
  EXPECT_EQ(working[0]->itemIdentifier(), first->itemIdentifier());
  EXPECT_FALSE(named(store_->enumerate(VLDirStore::Scope::Provider, "", &error), "notes.txt"));
  EXPECT_EQ(store_->item(parent->itemIdentifier())->childItemCount(), std::optional<int64_t>(0));

  EXPECT_FALSE(store_->untrash(first->itemIdentifier(), ""));
  EXPECT_FALSE(store_->untrash(second->itemIdentifier(), ""));
  EXPECT_TRUE(std::filesystem::is_regular_file(root_ + "/Projects/Draft/notes.txt"));
  EXPECT_TRUE(std::filesystem::is_directory(root_ + "/Draft"));
  EXPECT_FALSE(std::filesystem::exists(trash + "/info/Draft.trashinfo"));
  EXPECT_EQ(store_->enumerate(VLDirStore::Scope::WorkingSet, "", &error).size(), 2u);
  EXPECT_FALSE(store_->item(first->itemIdentifier())->isTrashed());

  // With its folder gone, an item goes back to the top; a restore folder given wins.
  EXPECT_FALSE(store_->trash(child->itemIdentifier()));
  EXPECT_FALSE(store_->remove(parent->itemIdentifier()));
  EXPECT_FALSE(store_->untrash(child->itemIdentifier(), ""));
  EXPECT_EQ(store_->item(child->itemIdentifier())->parentItemIdentifier(), KsVaultlineRootContainerItemIdentifier);
  EXPECT_FALSE(store_->trash(child->itemIdentifier()));
  EXPECT_FALSE(store_->untrash(child->itemIdentifier(), second->itemIdentifier()));
  EXPECT_EQ(store_->item(child->itemIdentifier())->parentItemIdentifier(), second->itemIdentifier());
}

TEST_F(DirStoreFixture, ChangesMadeByOtherProgramsReachTheIndexAndTheChangeHandler) {
  auto existing = import("before.txt");
  ASSERT_TRUE(existing);
  shell("printf data > '" + root_ + "/created.txt'");
  ASSERT_TRUE(waitUntil([&] { return at("created.txt") != nullptr; }));
  std::string created = at("created.txt")->itemIdentifier();
  EXPECT_TRUE(waitUntil([&] { return heard(created); }));

  // A new folder is watched at once, also for what is put in it straight away.
  shell("mkdir '" + root_ + "/new' && printf x > '" + root_ + "/new/inside.txt'");
  ASSERT_TRUE(waitUntil([&] { return at("new/inside.txt") != nullptr; }));
  shell("printf y > '" + root_ + "/new/later.txt'");
  ASSERT_TRUE(waitUntil([&] { return at("new/later.txt") != nullptr; }));

  // Renames and moves are paired, so the item keeps its identifier.
  forgetHeard();
  shell("mv '" + root_ + "/created.txt' '" + root_ + "/new/moved.txt'");
  ASSERT_TRUE(waitUntil([&] { return at("new/moved.txt") != nullptr && !at("created.txt"); }));
  EXPECT_EQ(at("new/moved.txt")->itemIdentifier(), created);
  // The index changes before the report goes out, so the report is waited for on its own.
  EXPECT_TRUE(waitUntil([&] { return heard(created) && heard(KsVaultlineRootContainerItemIdentifier); }));

  // Attributes set by another program are read back.
  shell("python3 -c \"import os; os.setxattr('" + root_ + "/before.txt', 'user.vaultline.rank', b'7')\"");
  EXPECT_TRUE(waitUntil([&] { return store_->item(existing->itemIdentifier())->favoriteRank() == 7; }));

  forgetHeard();
  shell("rm -r '" + root_ + "/new'");
  ASSERT_TRUE(waitUntil([&] { return !store_->item(created); }));
  EXPECT_TRUE(waitUntil([&] { return heard(created); }));
}

TEST_F(DirStoreFixture, TagsRanksAndDatesLiveInExtendedAttributes) {
  auto file = import("tagged.txt");
  ASSERT_TRUE(file);
  EXPECT_FALSE(store_->setTags(file->itemIdentifier(), {VLTag::make("Red", 7), VLTag::make("Blue", 4)}));
  EXPECT_FALSE(store_->setFavoriteRank(file->itemIdentifier(), 12345));
  EXPECT_FALSE(store_->setLastUsedDate(file->itemIdentifier(), VLDate(1732183200.25)));
  std::string path = root_ + "/tagged.txt";
  EXPECT_EQ(VLDirAttributes::get(path, VLDirAttributes::kFavoriteRank), std::optional<std::string>("12345"));
  close();
  open();
  auto again = store_->item(file->itemIdentifier());
  ASSERT_TRUE(again);
  ASSERT_EQ(again->tags().size(), 2u);
  EXPECT_EQ(again->tags()[0]->label(), "Red");
  EXPECT_EQ(again->tags()[1]->color(), 4);
  EXPECT_EQ(again->favoriteRank(), std::optional<int64_t>(12345));
  ASSERT_TRUE(again->lastUsedDate());
  EXPECT_NEAR(again->lastUsedDate()->timeIntervalSince1970(), 1732183200.25, 1e-3);
  EXPECT_FALSE(store_->setTags(file->itemIdentifier(), {}));
  EXPECT_FALSE(store_->setFavoriteRank(file->itemIdentifier(), std::nullopt));
  EXPECT_FALSE(store_->setLastUsedDate(file->itemIdentifier(), std::nullopt));
  VLErrorRef error;
  EXPECT_TRUE(store_->enumerate(VLDirStore::Scope::WorkingSet, "", &error).empty());
}

TEST_F(DirStoreFixture, PicturesAreTheirOwnThumbnailsAndOtherItemsHaveNone) {
  VLBitmap bitmap(4, 4);
  struct Row {
    std::string name;
    std::string contents;
    bool hasThumbnail;
  };
  auto bytes = [](const VLData& data) { return std::string(reinterpret_cast<const char*>(data.bytes()), data.length()); };
  std::vector<Row> rows = {{"p.png", bytes(VLImageCodec::encodePNG(bitmap)), true},
                           {"p.jpeg", bytes(VLImageCodec::encodeJPEG(bitmap)), true},
                           {"fake.png", "not a picture", false},
                           {"t.txt", "Hello", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    VLErrorRef error;
    auto item = store_->importItem(source(row.name, row.contents), false, KsVaultlineRootContainerItemIdentifier, &error);
    ASSERT_TRUE(item);
    auto thumbnail = store_->thumbnail(item->itemIdentifier(), &error);
    EXPECT_EQ(thumbnail.has_value(), row.hasThumbnail);
    if (thumbnail) {
      EXPECT_EQ(bytes(*thumbnail), row.contents);
    } else {
      EXPECT_TRUE(error);
    }
  }
}

TEST(DirStoreOpening, RefusesWhatIsNotAFolderNamingIt) {
  for (const std::string& path : {std::string("/nonexistent/vlprovider-dir"), std::string("/etc/hostname")}) {
    try {
      VLDirStore::open(path, "org.example.dir");
      ADD_FAILURE() << path;
    } catch (const VLException& error) {
      EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
    }
  }
}

TEST(DirTrashPaths, EncodeAndDecodeAsInfoFilesHoldThem) {
  EXPECT_EQ(VLDirTrash::encodePath("a b/ü%.txt"), "a%20b/%C3%BC%25.txt");
  EXPECT_EQ(VLDirTrash::decodePath("a%20b/%C3%BC%25.txt"), "a b/ü%.txt");
  EXPECT_EQ(VLDirTrash::decodePath("bad%2"), "bad%2");
  EXPECT_EQ(VLDirTrash::decodePath("bad%zz"), "bad%zz");
}
