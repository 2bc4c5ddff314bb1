#include <gtest/gtest.h>

#include "Core/VLError.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLRenameOperation.h"
#include "support/TestItems.h"
#include "Validations/VLExpectationValues.h"
#include "Validations/VLItemDescription.h"

namespace {
VLErrorRef offline() { return VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable); }
}  // namespace

TEST(ItemDescription, PendingLocalFileHasGhostDirectlyBeforeDevice) {
  auto item = vl_testItem("x", "a", [](VLItemAttributes& a) { a.pending = true; });
  EXPECT_EQ(vl_prettyDescription(item), "a id:x 👻📱 ");
}

TEST(ItemDescription, CloudTransfersShowProgressAndOffline) {
  auto downloading = vl_testItem("1", "f", [](VLItemAttributes& a) {
    a.isCloudItem = true;
    a.downloading = true;
    a.downloadingProgress = VLProgress::make(0, true);
    a.downloadingError = offline();
  });
  EXPECT_EQ(vl_prettyDescription(downloading), "f id:1 ⬇  (indeterminate) (offline) ");

  auto both = vl_testItem("2", "g", [](VLItemAttributes& a) {
    a.isCloudItem = true;
    a.downloaded = true;
    a.uploaded = true;
    a.uploading = true;
    a.uploadingProgress = VLProgress::make(0.425);
    a.uploadingError = VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem);
  });
  EXPECT_EQ(vl_prettyDescription(both), "g id:2 ⬆  42.5% 📱 \u2601\uFE0F  ");
}

TEST(ItemDescription, ShowsKindCountsSizeOneDateAndTags) {
  VLDate used(1700000000), modified(1600000000);
  auto folder = vl_testItem("9", "Photos", [&](VLItemAttributes& a) {
    a.isFolder = true;
    a.childItemCount = 3;
    a.documentSize = 512000;
    a.lastUsedDate = used;
    a.contentModificationDate = modified;
    a.tags = {VLTag::make("red", 6), VLTag::make("blue", 4)};
  });
  EXPECT_EQ(vl_prettyDescription(folder),
            "📁 Photos id:9 📱 3 children 512 KB lastUsed: " + vl_expectationDescription(used) + " ( red#6, blue#4 ) ");

  auto container = vl_testItem("r", "Root", [&](VLItemAttributes& a) {
    a.isFolder = true;
    a.isContainer = true;
    a.contentModificationDate = modified;
  });
  EXPECT_EQ(vl_prettyDescription(container), "📚 Root id:r 📱 modified: " + vl_expectationDescription(modified) + " ");
  EXPECT_EQ(vl_prettyDescription(VLItemRef()), "(null)");
}

TEST(ItemDescription, ProgressDumpAndByteCounts) {
  std::string text = "<";
  validation_dumpProgress(text, nullptr, "⬇ ", nullptr);
  validation_dumpProgress(text, VLProgress::make(1), "x", offline());
  EXPECT_EQ(text, "<⬇  x 100.0% (offline) ");

  EXPECT_EQ(vl_byteCountDescription(0), "0 bytes");
  EXPECT_EQ(vl_byteCountDescription(1), "1 byte");
  EXPECT_EQ(vl_byteCountDescription(999), "999 bytes");
  EXPECT_EQ(vl_byteCountDescription(1500), "1.5 KB");
  EXPECT_EQ(vl_byteCountDescription(999999), "1 MB");
  EXPECT_EQ(vl_byteCountDescription(2500000000), "2.5 GB");
}

TEST(ItemDescription, ActionIsItsOwnDescription) {
  auto rename = VLRenameOperation::make(vl_testItem("1", "a"), "b");
  EXPECT_EQ(vl_prettyDescription(*rename), rename->description());
}
