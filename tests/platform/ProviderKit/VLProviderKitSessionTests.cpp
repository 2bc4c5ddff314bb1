// A session as the host meets it: malformed lines, a store that fails, requests that run at
// once, and a round trip of every item field through the kit's own encoder.
#include "KitHarness.h"
#include "ProviderKit/VLProviderKitEncoder.h"
#include "Remote/VLRemoteCodec.h"

namespace {

using json = nlohmann::json;

struct BadLine {
  const char* line;
  int64_t code;
  json id;
};

// Each bad line gets the JSON-RPC error it deserves, with the id when one can be recovered,
// and the session still answers the next good request.
TEST(KitSession, EveryMalformedLineGetsItsErrorAndTheSessionGoesOn) {
  auto store = std::make_shared<ScriptedStore>();
  KitHost host(store);
  host.sendLine(R"({"jsonrpc":"2.0","id":1,"method":"items.root","params":{}})");
  EXPECT_EQ(host.answer(1)["error"]["code"], -32600) << "a request before initialize";
  host.request(2, "initialize", {{"protocolVersion", 2}, {"host", {{"name", "t"}, {"processID", 1}}}});
  json refused = host.answer(2)["error"];
  EXPECT_EQ(refused["code"], -32001);
  EXPECT_EQ(refused["data"]["supported"], json::array({1}));
  host.initialize();
  const BadLine lines[] = {
      {"{not json", -32700, nullptr},
      {"[1,2]", -32600, nullptr},
      {R"({"id":3,"method":"items.root","params":{}})", -32600, 3},
      {R"({"jsonrpc":"2.0","id":null,"method":"items.root"})", -32600, nullptr},
      {R"({"jsonrpc":"2.0","id":4,"method":"items.nothing","params":{}})", -32601, 4},
      {R"({"jsonrpc":"2.0","id":5,"method":"collections.changed","params":{}})", -32601, 5},
      {R"({"jsonrpc":"2.0","id":6,"method":"items.lookup","params":{"itemIdentifier":5}})", -32602, 6},
      {R"({"jsonrpc":"2.0","id":7,"method":"actions.rename","params":{"item":{"itemIdentifier":"x"},"newName":"y"}})",
       -32602, 7},
      {R"({"jsonrpc":"2.0","id":8,"method":"collections.subscribe","params":{"subscription":1,"scope":{"kind":"everything"}}})",
       -32602, 8},
      {R"({"jsonrpc":"2.0","id":"nine","method":"items.lookup","params":{}})", -32602, "nine"},
  };
  for (const auto& bad : lines) {
    SCOPED_TRACE(bad.line);
    host.sendLine(bad.line);
    json error = host.take([&](const json& m) { return m.contains("error") && m["id"] == bad.id; }, bad.line)["error"];
    EXPECT_EQ(error.value("code", 0), bad.code);
    EXPECT_FALSE(error.value("message", "").empty());
  }
  host.request(20, "items.lookup", {{"itemIdentifier", KsVaultlineRootContainerItemIdentifier}});
  EXPECT_EQ(host.answer(20)["result"]["item"]["itemIdentifier"], KsVaultlineRootContainerItemIdentifier);
  // Unequal lists never reach the store: they are the outcome's own error.
  json item = {
      {"itemIdentifier", "r"}, {"parentItemIdentifier", "r"}, {"filename", "r"}, {"typeIdentifier", "public.data"}};
  host.request(21, "actions.setTags", {{"items", json::array({item})}, {"tagsLists", json::array()}});
  EXPECT_EQ(host.answer(21)["result"]["error"]["code"], 22);
}

// A store that fails: a failure value is the outcome, an unusable argument is invalid params,
// anything thrown is an internal error naming it, and a scope that cannot be enumerated is
// the subscription's error.
TEST(KitSession, AFailingStoreIsReportedInTheRightChannel) {
  auto store = std::make_shared<ScriptedStore>();
  store->hook = [](const std::string& method) {
    if (method == "rename") throw VLException("the disk is on fire");
    if (method == "allowValidation") throw VLProviderStoreBadRequest("no service is called that");
  };
  KitHost host(store);
  host.initialize();
  json item = {
      {"itemIdentifier", "x"}, {"parentItemIdentifier", "r"}, {"filename", "x"}, {"typeIdentifier", "public.data"}};
  host.request(1, "actions.rename", {{"item", item}, {"newName", "y"}});
  json internal = host.answer(1)["error"];
  EXPECT_EQ(internal["code"], -32603);
  EXPECT_NE(internal["message"].get<std::string>().find("the disk is on fire"), std::string::npos);
  host.request(2, "validation.allowValidation", {{"service", "nope"}});
  EXPECT_EQ(host.answer(2)["error"]["code"], -32602);
  host.request(3, "items.lookup", {{"itemIdentifier", "missing"}});
  EXPECT_EQ(host.answer(3)["result"]["error"]["code"], VLVaultlineErrorNoSuchItem);
  host.request(4, "collections.subscribe",
               {{"subscription", 1}, {"scope", {{"kind", "container"}, {"container", "missing"}}}});
  EXPECT_EQ(host.answer(4)["result"]["error"]["code"], VLVaultlineErrorNoSuchItem);
  // The number of a failed subscription may be used again.
  host.request(5, "collections.subscribe", {{"subscription", 1}, {"scope", {{"kind", "provider"}}}});
  EXPECT_TRUE(host.answer(5)["result"].contains("items"));
}

// Requests run at once: the first blocks in the store until the second has reached it, which
// a session that answered one request at a time would never let happen.
TEST(KitSession, RequestsRunConcurrentlyAndAreAnsweredInAnyOrder) {
  auto store = std::make_shared<ScriptedStore>();
  std::mutex mutex;
  std::condition_variable changed;
  bool secondArrived = false, firstWaited = false;
  store->hook = [&](const std::string& method) {
    std::unique_lock lock(mutex);
    if (method == "rename") {
      firstWaited = changed.wait_for(lock, std::chrono::duration<double>(kPatience), [&] { return secondArrived; });
    } else if (method == "setTags") {
      secondArrived = true;
      changed.notify_all();
    }
  };
  KitHost host(store);
  host.initialize();
  json item = {
      {"itemIdentifier", "x"}, {"parentItemIdentifier", "r"}, {"filename", "x"}, {"typeIdentifier", "public.data"}};
  host.request(1, "actions.rename", {{"item", item}, {"newName", "y"}});
  host.request(2, "actions.setTags", {{"items", json::array({item})}, {"tagsLists", json::array({json::array()})}});
  host.answer(2);
  host.answer(1);
  std::lock_guard lock(mutex);
  EXPECT_TRUE(firstWaited);
}

// Every item field, set to something other than its default, survives the kit's encoder and
// the host's decoder; a dropped or misspelt field shows here.
TEST(KitEncoder, AnItemWithEveryFieldRoundTrips) {
  VLItemAttributes a = ScriptedStore::attributes("item-1", "parent", true);
  a.providerIdentifier = "other.provider", a.providerID = "other.id";
  a.formerItemID = VLItemID::makeReceived("p", std::string("domain"), "old");
  a.displayName = "Shown \"name\"\n\x01", a.childItemCount = 3, a.documentSize = 12, a.capabilities = 255;
  a.creationDate = VLDate(1732183200.25), a.contentModificationDate = VLDate(0.1), a.lastUsedDate = VLDate(-5);
  a.isCloudItem = a.downloaded = a.downloading = a.mostRecentVersionDownloaded = true;
  a.supportsMostRecentVersionDownloaded = a.uploaded = a.uploading = a.pending = a.offline = true;
  a.progress = VLProgress::make(0.5, true), a.downloadingProgress = VLProgress::make(0.25);
  a.uploadingProgress = VLProgress::make(1);
  a.downloadingError = VLError::makeWithDescription(KsVaultlineErrorDomain, -1004, "offline");
  a.uploadingError =
      VLError::make("d", 7, {{VLUnderlyingErrorKey, VLValue(VLError::make("u", 1))}, {"n", 2.5}, {"b", true}});
  a.trashed = true, a.favoriteRank = 9, a.tags = {VLTag::make("Red", 7), VLTag::make("é", 0)};
  a.tagData = VLData(std::vector<uint8_t>{0, 1, 2, 255}), a.shared = a.sharedByCurrentUser = true;
  a.ownerNameComponents = VLPersonNameComponents::make("Ada", "Byron");
  a.mostRecentEditorNameComponents = VLPersonNameComponents::make("", "X");
  a.versionIdentifier = VLData(std::vector<uint8_t>{1}),
  a.userInfo = VLValue::Dictionary{{"k", "v"}, {"list", VLValue::Array{1, "two"}}};
  a.appContainerBundleIdentifier = "app", a.cloudContainerIdentifier = "cloud";
  VLItemRef item = VLItem::make(a);

  VLRemoteCodec codec("org.example.kit", "org.example.kit");
  VLProviderKitEncoder encoder("org.example.kit", "org.example.kit");
  std::string text;
  encoder.item(text, *item);
  json parsed = json::parse(text);
  VLItemRef decoded = codec.decodeItem(VLRemoteJSONReader(parsed, "item"));
  EXPECT_EQ(codec.encodeItem(*decoded), codec.encodeItem(*item));
  EXPECT_EQ(parsed.size(), codec.encodeItem(*item).size()) << "the kit writes a field the codec does not";
}

TEST(KitEncoder, StringsAreAlwaysValidJSON) {
  const std::pair<std::string, std::string> cases[] = {{"plain", "plain"},
                                                       {"q\"b\\", "q\"b\\"},
                                                       {"\t\n\x1f", "\t\n\x1f"},
                                                       {"é€😀", "é€😀"},
                                                       {"bad\xff", "bad\xEF\xBF\xBD"},
                                                       {"\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
                                                       {"\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                                                       {"cut\xE2\x82", "cut\xEF\xBF\xBD\xEF\xBF\xBD"}};
  for (const auto& [input, expected] : cases) {
    std::string out;
    VLProviderKitEncoder::string(out, input);
    EXPECT_EQ(json::parse(out).get<std::string>(), expected) << out;
  }
}

}  // namespace
