// The item codec against the protocol document's field tables: an item with every field set
// encodes to exactly the documented names and decodes back to itself, so a dropped or
// misspelled field on either side fails here in milliseconds rather than in a full run.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "Remote/VLRemoteCodec.h"
#include "Remote/VLRemoteItemFields.h"
#include "Remote/VLRemoteMessage.h"
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

// The items of `list` in `line`, decoded by the streaming parser (`streamed`) or from the document.
std::vector<VLItemRef> itemsOf(const VLRemoteCodec& codec, const std::string& line, const char* list, bool streamed) {
  VLRemoteMessage message = VLRemoteMessage::parse(line, streamed);
  return codec.decodeItems(message.body().field(list));
}

// What decoding `list` in `line` reports: "" when it succeeds, else the error's words.
std::string problemOf(const VLRemoteCodec& codec, const std::string& line, const char* list, bool streamed) {
  try {
    itemsOf(codec, line, list, streamed);
    return "";
  } catch (const VLRemoteJSONError& invalid) {
    return invalid.what();
  }
}

// An item with every field set is written under exactly the documented names (which are the
// field table's), and both parsers read it back whole from every list that carries items.
TEST(VLRemoteCodecItems, AnItemWithEveryFieldSetUsesTheDocumentedNamesAndBothParsersReadItBack) {
  VLRemoteCodec codec("org.example.fake", "org.example.fake");
  json encoded = codec.encodeItem(*itemWithEveryField());
  std::set<std::string> written, known;
  for (const auto& [name, value] : encoded.items()) written.insert(name);
  for (const auto& field : VLRemoteItemFields::all()) known.insert(std::string(field.name));
  EXPECT_EQ(written, documentedItemFields());
  EXPECT_EQ(written, known);
  EXPECT_EQ(codec.encodeItem(*codec.decodeItem(VLRemoteJSONReader(encoded, "item"))), encoded);
  // A minimal item beside it: the session's defaults fill what it leaves out.
  json minimal = {{"itemIdentifier", "m"}, {"parentItemIdentifier", "p"}, {"filename", "m.txt"},
                  {"typeIdentifier", "public.data"}};
  json list = json::array({encoded, minimal});
  for (const auto& [line, name] : std::vector<std::pair<std::string, const char*>>{
           {VLRemoteMessage::resultLine(1, {{"items", list}}), "items"},
           {VLRemoteMessage::notificationLine("collections.items", {{"subscription", 1}, {"items", list}}), "items"},
           {VLRemoteMessage::notificationLine("collections.changed", {{"subscription", 1}, {"updated", list}}), "updated"}}) {
    auto items = itemsOf(codec, line, name, true);
    ASSERT_EQ(items.size(), 2u) << line;
    auto documentItems = itemsOf(codec, line, name, false);
    EXPECT_EQ(codec.encodeItem(*items[0]), encoded) << name;
    EXPECT_EQ(codec.encodeItem(*documentItems[0]), encoded) << name;
    EXPECT_EQ(codec.encodeItem(*items[1]), codec.encodeItem(*documentItems[1])) << name;
    EXPECT_EQ(items[1]->displayName(), "m.txt");
    EXPECT_EQ(items[1]->providerIdentifier(), "org.example.fake");
    // The rest of the message stays a document.
    if (line.find("collections.") != std::string::npos) {
      EXPECT_EQ(VLRemoteMessage::parse(line, true).body().field("subscription").integer(), 1);
    }
  }
}

// Each invalid item list gets the same words from both parsers: the first invalid element and
// its field, as the codec names them.
TEST(VLRemoteCodecItems, BothParsersRefuseAnInvalidListWithTheSameWords) {
  VLRemoteCodec codec("org.example.fake", "org.example.fake");
  const std::string good = R"({"itemIdentifier":"a","parentItemIdentifier":"p","filename":"a.txt","typeIdentifier":"t")";
  struct Row {
    std::string elements;  // after one valid element
    std::string problem;   // "" when the list is valid
  };
  const std::vector<Row> rows = {
      {good + "}", ""},
      {good + R"(,"unknown":{"deep":[1,{"x":null}]},"isFolder":null})", ""},
      {good + R"(,"filename":5})", "params.updated[1].filename: expected a string, got 5"},
      {good + R"(,"filename":null})", "params.updated[1]: missing field \"filename\""},
      {good + R"(,"filename":5,"filename":"b.txt"})", ""},
      {R"({"itemIdentifier":"a"})", "params.updated[1]: missing field \"parentItemIdentifier\""},
      {good + R"(,"isFolder":"yes"})", "params.updated[1].isFolder: expected true or false, got \"yes\""},
      {good + R"(,"childItemCount":1.5})", "params.updated[1].childItemCount: expected an integer, got 1.5"},
      {good + R"(,"documentSize":18446744073709551615})",
       "params.updated[1].documentSize: expected an integer, got 18446744073709551615"},
      {good + R"(,"capabilities":-1})",
       "params.updated[1].capabilities: expected a bit mask (an integer of at least 0)"},
      {good + R"(,"creationDate":"today"})", "params.updated[1].creationDate: expected a number, got \"today\""},
      {good + R"(,"filename":["a"]})", "params.updated[1].filename: expected a string, got [\"a\"]"},
      {good + R"(,"tags":[{"label":"Red"}]})", "params.updated[1].tags[0]: missing field \"color\""},
      {good + R"(,"progress":{}})", "params.updated[1].progress: missing field \"fractionCompleted\""},
      {good + R"(,"tagData":"not base64!"})", "params.updated[1].tagData: expected base64 data (RFC 4648 with padding)"},
      {"5", "params.updated[1]: expected an object, got 5"},
      {"null", "params.updated[1]: expected an object, got null"},
      {"[1,[2]]", "params.updated[1]: expected an object, got [1,[2]]"},
      {good + R"(,"isFolder":1},)" + good + "}", "params.updated[1].isFolder: expected true or false, got 1"},
  };
  for (const auto& row : rows) {
    std::string line = R"({"jsonrpc":"2.0","method":"collections.changed","params":{"subscription":1,"updated":[)" +
                       good + "}," + row.elements + "]}}";
    EXPECT_EQ(problemOf(codec, line, "updated", false), row.problem) << row.elements;
    EXPECT_EQ(problemOf(codec, line, "updated", true), row.problem) << row.elements;
  }
}

// The streaming parser (simdjson, with nlohmann's parser for what simdjson refuses) accepts
// exactly the lines the document parser accepts, reads the same values from them, and refuses
// the others with the same words.
TEST(VLRemoteCodecItems, TheStreamingParserAcceptsAndRefusesWhatTheDocumentParserDoes) {
  const std::string head = R"({"jsonrpc":"2.0","id":1,"result":)";
  for (const std::string& body : std::vector<std::string>{
           R"({"items":[{"a":1})", R"({"items":[1,]}})", R"({"items":[]}} trailing)", R"([])", R"({"items":[]}})",
           R"({"a":-0,"b":18446744073709551615,"c":-9223372036854775808,"d":1.5e300,"e":[true,false,null]}})",
           R"({"big":123456789012345678901234567890,"small":-123456789012345678901234567890}})", R"({"huge":1e400}})",
           R"({"s":"\u00e9\ud83d\ude00 \"quoted\" \\ \/"}})", R"({"lone":"\ud800"}})", "{\"tab\":\"a\tb\"}}",
           "{\"ctl\":\"a\x01\"}}", "{\"bad\":\"\xff\"}}", R"({"key\u0041":{"nested":[[[]]]},"dup":1,"dup":2}})",
           R"({"n":nul}})", R"({"n":01}})", R"({"n":-}})", R"({"x":1} )", "  " + head + R"({"x":1}} )"}) {
    std::string line = body.rfind("  ", 0) == 0 ? body : head + body;
    std::string plain, streamed;
    nlohmann::json plainResult, streamedResult;
    try {
      plainResult = VLRemoteMessage::parse(line, false).result;
    } catch (const VLRemoteMalformedMessage& malformed) {
      plain = malformed.what();
    }
    try {
      streamedResult = VLRemoteMessage::parse(line, true).result;
    } catch (const VLRemoteMalformedMessage& malformed) {
      streamed = malformed.what();
    }
    EXPECT_EQ(streamed, plain) << line;
    EXPECT_EQ(streamedResult.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
              plainResult.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace))
        << line;
  }
}

}  // namespace
