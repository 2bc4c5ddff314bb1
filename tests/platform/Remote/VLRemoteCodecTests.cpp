// The item codec against the protocol document's field tables: an item with every field set
// encodes to exactly the documented names and decodes back to itself, so a dropped or
// misspelled field on either side fails here in milliseconds rather than in a full run.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "Remote/VLRemoteCodec.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLItemID.h"
#include "Vaultline/VLPersonNameComponents.h"
#include "Vaultline/VLProgress.h"
#include "Vaultline/VLTag.h"

namespace {

using nlohmann::json;

// The field names of the document's two item tables (required and optional fields).
std::set<std::string> documentedItemFields() {
  std::ifstream file(VL_PROTOCOL_DOCUMENT);
  std::stringstream text;
  text << file.rdbuf();
  std::string document = text.str();
  size_t from = document.find("An item is a snapshot");
  size_t to = document.find("A field of the wrong type", from);
  EXPECT_NE(from, std::string::npos);
  EXPECT_NE(to, std::string::npos);
  std::set<std::string> names;
  std::istringstream lines(document.substr(from, to - from));
  static const std::regex name("`([A-Za-z]+)`");
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("| `", 0) != 0) continue;
    // Only the first cell names fields ("`a`, `b`"); later cells mention defaults.
    std::string cell = line.substr(1, line.find('|', 1) - 1);
    for (std::sregex_iterator it(cell.begin(), cell.end(), name), end; it != end; ++it) names.insert((*it)[1]);
  }
  return names;
}

VLItemRef itemWithEveryField() {
  VLItemAttributes a;
  a.providerIdentifier = "org.example.other";
  a.providerID = "org.example.other/domain";
  a.itemIdentifier = "item-1";
  a.parentItemIdentifier = "folder-1";
  a.formerItemID = VLItemID::makeReceived("org.example.other", std::string("domain"), "item-0");
  a.filename = "Report.txt";
  a.displayName = "Report";
  a.typeIdentifier = "public.plain-text";
  a.isFolder = a.isContainer = true;
  a.childItemCount = 3;
  a.documentSize = 5;
  a.capabilities = 249;
  a.creationDate = VLDate(1000.5);
  a.contentModificationDate = VLDate(2000.25);
  a.lastUsedDate = VLDate(3000);
  a.isCloudItem = a.downloaded = a.downloading = a.mostRecentVersionDownloaded = true;
  a.supportsMostRecentVersionDownloaded = a.uploaded = a.uploading = a.pending = a.offline = true;
  a.progress = VLProgress::make(0.5);
  a.downloadingProgress = VLProgress::make(0.25, true);
  a.uploadingProgress = VLProgress::make(0.75);
  a.downloadingError = VLError::makeWithDescription(KsVaultlineErrorDomain, -1004, "offline");
  a.uploadingError = VLError::makeWithDescription(KsVaultlineErrorDomain, -1003, "quota");
  a.trashed = true;
  a.favoriteRank = 7;
  a.tags = {VLTag::make("Red", 6), VLTag::make("Work", 0)};
  a.tagData = VLData("tags", 4);
  a.shared = a.sharedByCurrentUser = true;
  a.ownerNameComponents = VLPersonNameComponents::make("Ada", "Byron");
  a.mostRecentEditorNameComponents = VLPersonNameComponents::make("Alan", "Turing");
  a.versionIdentifier = VLData("v1", 2);
  a.userInfo = VLValue::Dictionary{{"color", VLValue("blue")}, {"count", VLValue(int64_t{2})}};
  a.appContainerBundleIdentifier = "org.example.app";
  a.cloudContainerIdentifier = "iCloud.example";
  return VLItem::make(std::move(a));
}

TEST(VLRemoteCodecItems, AnItemWithEveryFieldSetUsesTheDocumentedNamesAndComesBackWhole) {
  VLRemoteCodec codec("org.example.fake", "org.example.fake");
  auto item = itemWithEveryField();
  json encoded = codec.encodeItem(*item);

  std::set<std::string> written;
  for (const auto& [name, value] : encoded.items()) written.insert(name);
  EXPECT_EQ(written, documentedItemFields());

  auto decoded = codec.decodeItem(VLRemoteJSONReader(encoded, "item"));
  EXPECT_EQ(codec.encodeItem(*decoded), encoded);
}

}  // namespace
