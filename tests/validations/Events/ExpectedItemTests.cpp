#include <gtest/gtest.h>

#include <set>
#include <string>

#include "Core/VLLog.h"
#include "Vaultline/VLItem.h"
#include "Validations/VLExpectedItem.h"

TEST(ExpectedItem, StartsExpectingOnlyNotPending) {
  VLExpectedItem item;
  EXPECT_EQ(item.expectedKeys(), std::set<std::string>{"pending"});
  EXPECT_FALSE(item.isPending());
  EXPECT_TRUE(item.valueForKey("pending").isEqual(VLValue(false)));
  EXPECT_TRUE(item.valueForKey("filename").isNone());
}

TEST(ExpectedItem, SettersRecordTheirKeyEvenForDefaultValues) {
  VLExpectedItem item;
  item.setFilename("a");
  item.setFilename("b");
  item.setDownloaded(false);
  item.setCapabilities(0);
  EXPECT_EQ(item.expectedKeys(), (std::set<std::string>{"pending", "filename", "downloaded", "capabilities"}));
  EXPECT_EQ(item.filename(), "b");
  EXPECT_TRUE(item.valueForKey("downloaded").isEqual(VLValue(0)));
  EXPECT_TRUE(item.valueForKey("capabilities").isEqual(VLValue(0)));
}

// A misspelt key in a setter or in the reading table would silently never be compared.
TEST(ExpectedItem, EverySetterRecordsAKeyThatBothSidesCanRead) {
  VLExpectedItem item;
  item.setProviderIdentifier("p");
  item.setItemIdentifier("i");
  item.setParentItemIdentifier("parent");
  item.setFilename("f");
  item.setDisplayName("d");
  item.setTypeIdentifier("public.data");
  item.setDocumentSize(5);
  item.setCreationDate(VLDate(1));
  item.setContentModificationDate(VLDate(2));
  item.setFavoriteRank(3);
  item.setLastUsedDate(VLDate(4));
  item.setTagData(VLData());
  item.setChildItemCount(6);
  item.setProgress(VLProgress::make(0.5));
  item.setUploadingError(nullptr);
  item.setDownloadingError(nullptr);
  item.setOwnerNameComponents(VLPersonNameComponents::make("A", "B"));
  item.setMostRecentEditorNameComponents(nullptr);
  item.setVersionIdentifier(VLData());
  item.setUserInfo(VLValue::Dictionary{{"k", 1}});
  item.setTags({VLTag::make("red", 6)});
  item.setAppContainerBundleIdentifier("app");
  item.setCloudContainerIdentifier("cloud");
  item.setFormerItemID(nullptr);
  item.setOffline(true);
  item.setDownloading(true);
  item.setMostRecentVersionDownloaded(true);
  item.setUploaded(true);
  item.setUploading(true);
  item.setTrashed(true);
  item.setShared(true);
  item.setSupportsMostRecentVersionDownloaded(true);
  item.setSharedByCurrentUser(true);
  item.setDownloaded(true);
  item.setCapabilities(3);

  EXPECT_EQ(VLExpectedItem::keys(), VLItem::keys());
  std::set<std::string> all(VLItem::keys().begin(), VLItem::keys().end());
  EXPECT_EQ(item.expectedKeys(), all);
  EXPECT_EQ(item.valueForKey("documentSize").integerValue(), 5);
  EXPECT_EQ(item.valueForKey("capabilities").integerValue(), 3);
  EXPECT_TRUE(item.valueForKey("sharedByCurrentUser").boolValue());
  EXPECT_EQ(item.valueForKey("tags").description(), "(red#6)");
  EXPECT_EQ(item.valueForKey("lastUsedDate").date()->timeIntervalSince1970(), 4);
}

TEST(ExpectedItem, KeyAndSetterNamesConvertBothWays) {
  EXPECT_EQ(vl_setterFromKey("filename"), "setFilename:");
  EXPECT_EQ(vl_setterFromKey("formerItemID"), "setFormerItemID:");
  EXPECT_EQ(vl_keyFromSetter("setTagData:"), "tagData");
  EXPECT_EQ(vl_keyFromSetter("setMostRecentVersionDownloaded:"), "mostRecentVersionDownloaded");
  EXPECT_EQ(vl_keyFromSetter("setURL:"), "uRL");  // only the fourth character is lowered
  for (const auto& key : VLExpectedItem::keys()) EXPECT_EQ(vl_keyFromSetter(vl_setterFromKey(key)), key);
  EXPECT_DEATH((VLLog::setSink({}), vl_keyFromSetter("filename:")), "setter filename: doesn't have set prefix");
}
