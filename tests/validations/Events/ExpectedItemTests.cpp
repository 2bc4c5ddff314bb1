#include <gtest/gtest.h>

#include <set>
#include <string>

#include "Core/VLLog.h"
#include "Validations/VLExpectedItem.h"
#include "Vaultline/VLItem.h"

using Keys = std::set<std::string>;

// A misspelt key in a setter or in the reading table would silently never be compared.
TEST(ExpectedItem, EverySetterRecordsAKeyThatBothSidesCanRead) {
  VLExpectedItem i;
  EXPECT_EQ(i.expectedKeys(), Keys{"pending"});
  EXPECT_TRUE(i.valueForKey("pending").isEqual(VLValue(false)));
  i.setProviderIdentifier("p"), i.setItemIdentifier("i"), i.setParentItemIdentifier("r"), i.setFilename("f");
  i.setDisplayName("d"), i.setTypeIdentifier("t"), i.setDocumentSize(5), i.setCreationDate(VLDate(1));
  i.setContentModificationDate(VLDate(2)), i.setFavoriteRank(3), i.setLastUsedDate(VLDate(4)), i.setTagData(VLData());
  i.setChildItemCount(6), i.setProgress(nullptr), i.setUploadingError(nullptr), i.setDownloadingError(nullptr);
  i.setOwnerNameComponents(nullptr), i.setMostRecentEditorNameComponents(nullptr), i.setVersionIdentifier(VLData());
  i.setUserInfo(VLValue::Dictionary{}), i.setTags({VLTag::make("red", 6)}), i.setAppContainerBundleIdentifier("a");
  i.setCloudContainerIdentifier("c"), i.setFormerItemID(nullptr), i.setOffline(true), i.setDownloading(true);
  i.setMostRecentVersionDownloaded(true), i.setUploaded(true), i.setUploading(true), i.setTrashed(true);
  i.setShared(true), i.setSupportsMostRecentVersionDownloaded(true), i.setSharedByCurrentUser(true);
  i.setDownloaded(false), i.setCapabilities(0), i.setFilename("g");  // default values are expected too

  EXPECT_EQ(VLExpectedItem::keys(), VLItem::keys());
  EXPECT_EQ(i.expectedKeys(), Keys(VLItem::keys().begin(), VLItem::keys().end()));
  EXPECT_TRUE(i.valueForKey("capabilities").isEqual(VLValue(0)));
  EXPECT_EQ(i.filename(), "g");
  EXPECT_TRUE(i.valueForKey("sharedByCurrentUser").boolValue());
  EXPECT_EQ(i.valueForKey("tags").description(), "(red#6)");
}

TEST(ExpectedItem, KeyAndSetterNamesConvertBothWays) {
  EXPECT_EQ(vl_setterFromKey("formerItemID"), "setFormerItemID:");
  EXPECT_EQ(vl_keyFromSetter("setTagData:"), "tagData");
  EXPECT_EQ(vl_keyFromSetter("setURL:"), "uRL");  // only the fourth character is lowered
  for (const auto& key : VLExpectedItem::keys()) EXPECT_EQ(vl_keyFromSetter(vl_setterFromKey(key)), key);
  EXPECT_DEATH((VLLog::setSink({}), vl_keyFromSetter("filename:")), "setter filename: doesn't have set prefix");
}
