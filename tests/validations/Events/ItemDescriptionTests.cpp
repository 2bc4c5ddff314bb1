#include <gtest/gtest.h>

#include "Core/VLError.h"
#include "Validations/VLExpectationValues.h"
#include "Validations/VLItemDescription.h"
#include "Vaultline/VLConstants.h"
#include "support/TestItems.h"

namespace {
VLErrorRef offline() { return VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable); }
}  // namespace

TEST(ItemDescription, TransferStatesAndTheGhost) {
  EXPECT_EQ(vl_prettyDescription(vl_testItem("x", "a", [](VLItemAttributes& a) { a.pending = true; })), "a id:x 👻📱 ");
  EXPECT_EQ(vl_prettyDescription(vl_testItem("1", "f",
                                             [](VLItemAttributes& a) {
                                               a.isCloudItem = a.downloading = true;
                                               a.downloadingProgress = VLProgress::make(0, true);
                                               a.downloadingError = offline();
                                             })),
            "f id:1 ⬇  (indeterminate) (offline) ");
  EXPECT_EQ(vl_prettyDescription(vl_testItem("2", "g",
                                             [](VLItemAttributes& a) {
                                               a.isCloudItem = a.downloaded = a.uploaded = a.uploading = true;
                                               a.uploadingProgress = VLProgress::make(0.425);
                                               a.uploadingError =
                                                   VLError::make(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem);
                                             })),
            "g id:2 ⬆  42.5% 📱 \u2601\uFE0F  ");
}

TEST(ItemDescription, KindCountsSizeOneDateAndTags) {
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
    a.isFolder = a.isContainer = true;
    a.contentModificationDate = modified;
  });
  EXPECT_EQ(vl_prettyDescription(container), "📚 Root id:r 📱 modified: " + vl_expectationDescription(modified) + " ");
  EXPECT_EQ(vl_byteCountDescription(999999), "1 MB");
}
