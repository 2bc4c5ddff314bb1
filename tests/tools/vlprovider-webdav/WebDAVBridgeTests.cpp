// The WebDAV bridge against a scripted server: what it reads from a multistatus, how each
// failure of the server reaches the host, and that it keeps its promises about names and dead
// properties even on a server that ignores the conditions it sends.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "ScriptedWebDAVServer.h"
#include "Vaultline/VLConstants.h"
#include "vlprovider-webdav/VLWebDAVMultistatus.h"
#include "vlprovider-webdav/VLWebDAVStore.h"

namespace fs = std::filesystem;

namespace {

using Reply = ScriptedWebDAVServer::Reply;
using Request = ScriptedWebDAVServer::Request;
const std::string kRoot = "KsVaultlineRootContainerItemIdentifier";

// A multistatus listing the collection `self` and its members (a trailing "/" marks a collection).
std::string listing(const std::string& self, const std::vector<std::string>& members, const std::string& extra = "") {
  auto response = [&](const std::string& href) {
    bool collection = href.back() == '/';
    return "<D:response><D:href>" + href + "</D:href><D:propstat><D:prop><D:resourcetype>" +
           (collection ? "<D:collection/>" : "") + "</D:resourcetype>" +
           (collection ? "" : "<D:getcontentlength>5</D:getcontentlength>") +
           "<D:getlastmodified>Wed, 25 Nov 2026 16:30:39 GMT</D:getlastmodified>" + extra +
           "</D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>";
  };
  std::string body = "<?xml version=\"1.0\"?><D:multistatus xmlns:D=\"DAV:\">" + response(self);
  for (const auto& member : members) body += response(self + member);
  return body + "</D:multistatus>";
}

std::string deeplyNested(int levels) {
  std::string open, close;
  for (int i = 0; i < levels; ++i) open += "<a>", close += "</a>";
  return "<D:multistatus xmlns:D=\"DAV:\">" + open + close + "</D:multistatus>";
}

// A port on 127.0.0.1 that refuses connections: bound, so nobody else takes it, but not listening.
struct RefusingPort {
  int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  int port = 0;
  RefusingPort() {
    sockaddr_in address{};
    address.sin_family = AF_INET, address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
  }
  ~RefusingPort() { ::close(socket); }
};

class WebDAVBridge : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string folder = (fs::temp_directory_path() / "vl-webdav-test-XXXXXX").string();
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    cache_ = folder;
  }
  void TearDown() override {
    store_.reset(), server_.reset();
    fs::remove_all(cache_);
  }
  // Starts the scripted server and a store on it, connected.
  VLWebDAVStore& start(ScriptedWebDAVServer::Script script, std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    server_ = std::make_unique<ScriptedWebDAVServer>(std::move(script));
    return open(server_->url(), timeout);
  }
  VLWebDAVStore& open(const std::string& url, std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    VLWebDAVStore::Options options;
    options.url = url, options.cache = cache_, options.requestTimeout = timeout;
    store_ = std::make_shared<VLWebDAVStore>(options);
    connectError_ = store_->connect();
    return *store_;
  }
  VLItemRef root() { return store_->lookup(kRoot).item; }
  VLItemRef named(const std::string& name) {
    for (const auto& item : store_->enumerate({VLProviderScope::Kind::Container, kRoot}).items)
      if (item->filename() == name) return item;
    return nullptr;
  }

  fs::path cache_;
  std::unique_ptr<ScriptedWebDAVServer> server_;
  std::shared_ptr<VLWebDAVStore> store_;
  VLErrorRef connectError_;
};

TEST(WebDAVMultistatus, ReadsWhatServersSendAndRefusesHostileDocuments) {
  const std::string ours = VLWebDAVPropertyNamespace;
  struct Row {
    const char* what;
    std::string body;
    size_t entries;     // when accepted
    const char* error;  // a word of the error when refused
  } rows[] = {
      {"prefixed DAV: elements", listing("/dav/", {"a.txt", "b/"}), 3, nullptr},
      {"default namespace, absolute hrefs",
       "<multistatus xmlns=\"DAV:\"><response><href>http://h:1/dav/x%20y.txt</href><propstat><prop>"
       "<getcontentlength>7</getcontentlength></prop><status>HTTP/1.1 200 OK</status></propstat></response></multistatus>",
       1, nullptr},
      {"a response without href is skipped", "<d:multistatus xmlns:d=\"DAV:\"><d:response/></d:multistatus>", 0, nullptr},
      {"entity declarations", "<?xml version=\"1.0\"?><!DOCTYPE m [<!ENTITY a \"aaaa\"><!ENTITY b \"&a;&a;&a;\">]><m>&b;</m>", 0,
       "document type"},
      {"nesting far deeper than a multistatus", deeplyNested(5000), 0, "deeper"},
      {"not well-formed", "<D:multistatus xmlns:D=\"DAV:\"><D:response>", 0, "well-formed"},
      {"an HTML error page", "<html><body>Oops</body></html>", 0, "multistatus"},
      {"empty", "", 0, "well-formed"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    VLErrorRef error;
    auto entries = VLWebDAVMultistatus::parse(row.body, error);
    if (row.error) {
      ASSERT_NE(error, nullptr);
      EXPECT_NE(error->localizedDescription().find(row.error), std::string::npos) << error->localizedDescription();
      EXPECT_TRUE(entries.empty());
    } else {
      ASSERT_EQ(error, nullptr) << error->localizedDescription();
      EXPECT_EQ(entries.size(), row.entries);
    }
  }

  // Only properties in a 200 propstat and in the bridge's own namespace count as its own.
  VLErrorRef error;
  auto entries = VLWebDAVMultistatus::parse(
      "<D:multistatus xmlns:D=\"DAV:\" xmlns:V=\"" + ours + "\" xmlns:X=\"urn:other\"><D:response><D:href>/dav/f</D:href>"
      "<D:propstat><D:prop><V:tags>1 Red</V:tags><X:favoriteRank>9</X:favoriteRank><D:getetag>\"e1\"</D:getetag>"
      "<D:creationdate>2026-11-25T16:30:39Z</D:creationdate></D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat>"
      "<D:propstat><D:prop><V:lastUsed>5</V:lastUsed><D:getcontentlength>3</D:getcontentlength></D:prop>"
      "<D:status>HTTP/1.1 404 Not Found</D:status></D:propstat></D:response></D:multistatus>",
      error);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].tags, "1 Red");
  EXPECT_FALSE(entries[0].favoriteRank) << "a property of another namespace";
  EXPECT_FALSE(entries[0].lastUsed) << "a property the server does not have";
  EXPECT_FALSE(entries[0].size);
  EXPECT_EQ(entries[0].etag, "\"e1\"");
  EXPECT_EQ(entries[0].created->timeIntervalSince1970(), 1795624239);
}

TEST_F(WebDAVBridge, EachServerFailureBecomesAClearErrorAndNothingHangs) {
  struct Row {
    const char* what;
    Reply reply;
    std::string domain;
    int64_t code;
    const char* words;
  } rows[] = {
      {"credentials refused", {401}, VLPOSIXErrorDomain, EACCES, "401"},
      {"no room left", {507}, VLPOSIXErrorDomain, ENOSPC, "507"},
      {"server failure", {500}, VLPOSIXErrorDomain, EIO, "500"},
      {"no WebDAV there", {404}, VLPOSIXErrorDomain, EIO, "404"},
      {"hostile listing", {207, "<!DOCTYPE x [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><x>&e;</x>"}, VLPOSIXErrorDomain,
       EBADMSG, "document type"},
      {"dropped connection", {200, "", true}, KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable, "cannot be reached"},
      {"slow server", {207, listing("/dav/", {}), false, true}, VLPOSIXErrorDomain, ETIMEDOUT, "within 300 ms"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    bool failing = false;
    auto& store = start(
        [&](const Request& request) {
          // The first listing succeeds, so that the failure meets the enumeration.
          if (request.method == "PROPFIND" && !failing) return Reply{207, listing("/dav/", {})};
          if (request.method != "PROPFIND") return Reply{201};
          return row.reply;
        },
        std::chrono::milliseconds(300));
    ASSERT_EQ(connectError_, nullptr);
    failing = true;
    auto result = store.enumerate({VLProviderScope::Kind::Container, kRoot});
    ASSERT_NE(result.error, nullptr);
    EXPECT_EQ(result.error->domain(), row.domain);
    EXPECT_EQ(result.error->code(), row.code);
    EXPECT_NE(result.error->localizedDescription().find(row.words), std::string::npos)
        << result.error->localizedDescription();
    server_->release();
    TearDown(), SetUp();
  }

  // Nobody listening at all: the store still starts, and says why it cannot work.
  RefusingPort nobody;
  auto& store = open("http://127.0.0.1:" + std::to_string(nobody.port) + "/dav/");
  ASSERT_NE(connectError_, nullptr);
  EXPECT_EQ(connectError_->code(), VLVaultlineErrorServerUnreachable);
  EXPECT_EQ(store.enumerate({VLProviderScope::Kind::Container, kRoot}).error->code(), VLVaultlineErrorServerUnreachable);
}

// A server that ignores If-None-Match and Overwrite, and compares names exactly: every way of
// taking a name that is already there, in any case, is refused before anything is sent.
TEST_F(WebDAVBridge, NamesCollideRegardlessOfCaseEvenWhereTheServerWouldOverwrite) {
  auto& store = start([](const Request& request) {
    if (request.method == "PROPFIND") return Reply{207, listing("/dav/", {"Report.txt", "Draft.txt", "Folder/"})};
    return Reply{201};
  });
  fs::path source = cache_ / "REPORT.txt";
  std::ofstream(source) << "bytes";
  VLItemRef draft = named("Draft.txt"), folder = named("Folder");
  ASSERT_TRUE(draft && folder);
  struct Row {
    const char* what;
    std::function<VLErrorRef()> act;
  } rows[] = {
      {"new folder", [&] { return store.createFolder(root(), "report.TXT").error; }},
      {"import", [&] { return store.importItems({{source.string(), false}}, root()).error; }},
      {"rename", [&] { return store.rename(draft, "REPORT.TXT"); }},
      {"rename onto a folder", [&] { return store.rename(draft, "folder"); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    size_t before = server_->requests().size();
    VLErrorRef error = row.act();
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), VLVaultlineErrorFilenameCollision);
    auto methods = server_->methods();
    for (size_t i = before; i < methods.size(); ++i)
      EXPECT_EQ(methods[i], "PROPFIND") << "nothing is written once the name is known to be taken";
  }
  // A change of case only is the item's own name, not a collision; the move may not overwrite.
  EXPECT_EQ(store.rename(draft, "DRAFT.txt"), nullptr);
  auto moves = server_->requests();
  ASSERT_EQ(moves.back().method, "MOVE");
  EXPECT_EQ(moves.back().headers["overwrite"], "F");
  EXPECT_EQ(moves.back().headers["destination"], server_->url() + "DRAFT.txt");
  EXPECT_EQ(store.lookup(draft->itemIdentifier()).item->filename(), "DRAFT.txt") << "the identifier follows the rename";
}

TEST_F(WebDAVBridge, DeadPropertiesAreUsedOnlyWhereTheServerKeepsThem) {
  const std::string ok = "HTTP/1.1 200 OK", refused = "HTTP/1.1 403 Forbidden";
  auto patched = [](const std::string& status) {
    return Reply{207, "<D:multistatus xmlns:D=\"DAV:\"><D:response><D:href>/dav/x</D:href><D:propstat><D:prop/>"
                      "<D:status>" + status + "</D:status></D:propstat></D:response></D:multistatus>"};
  };
  struct Row {
    const char* what;
    Reply proppatch;
    bool kept;
  } rows[] = {
      {"keeps them", patched(ok), true},
      {"no PROPPATCH", {405}, false},
      {"refuses the request", {403}, false},
      {"refuses each property", patched(refused), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    auto& store = start([&](const Request& request) {
      if (request.method == "PROPFIND") return Reply{207, listing("/dav/", {"a.txt"})};
      return request.method == "PROPPATCH" ? row.proppatch : Reply{201};
    });
    EXPECT_EQ(store.keepsDeadProperties(), row.kept);
    EXPECT_EQ(store.allowValidation("token").options["HasNoWorkingSet"], VLValue(!row.kept));
    VLItemRef file = named("a.txt");
    VLErrorRef error = store.setTags({file}, {{VLTag::make("Red", 6)}});
    auto workingSet = store.enumerate({VLProviderScope::Kind::WorkingSet, ""});
    if (row.kept) {
      EXPECT_EQ(error, nullptr);
      EXPECT_EQ(workingSet.error, nullptr);
      std::string body;
      for (const auto& request : server_->requests())
        if (request.method == "PROPPATCH") body = request.body;
      EXPECT_NE(body.find(VLWebDAVPropertyNamespace), std::string::npos);
      EXPECT_NE(body.find("6 Red"), std::string::npos);
    } else {
      ASSERT_NE(error, nullptr);
      EXPECT_EQ(error->code(), VLVaultlineErrorNotSupported);
      ASSERT_NE(workingSet.error, nullptr);
      EXPECT_EQ(workingSet.error->code(), VLVaultlineErrorNotSupported);
    }
    TearDown(), SetUp();
  }
}

// Others change the server between two polls: the next enumeration shows it, identifiers of
// what stayed are kept, and a local copy whose content changed goes.
TEST_F(WebDAVBridge, ChangesByOthersShowAtTheNextPoll) {
  std::mutex mutex;
  std::vector<std::string> members{"kept.txt", "gone.txt"};
  std::string etag = "W/\"1\"";  // weak while new, as Apache says of a file under a second old
  auto& store = start([&](const Request& request) {
    std::lock_guard lock(mutex);
    if (request.method == "GET") return Reply{200, "bytes"};
    if (request.method == "PROPFIND")
      return Reply{207, listing("/dav/", members, "<D:getetag>" + etag + "</D:getetag>")};
    return Reply{201};
  });
  VLItemRef kept = named("kept.txt");
  ASSERT_TRUE(kept && named("gone.txt"));
  ASSERT_EQ(store.download({kept}).error, nullptr);
  {
    std::lock_guard lock(mutex);
    etag = "\"1\"";  // the same tag, now strong: the same content
  }
  ASSERT_EQ(store.enumerate({VLProviderScope::Kind::Container, kRoot}).error, nullptr);
  EXPECT_TRUE(store.lookup(kept->itemIdentifier()).item->isDownloaded());
  {
    std::lock_guard lock(mutex);
    members = {"kept.txt", "new.txt"}, etag = "\"2\"";
  }
  auto now = store.enumerate({VLProviderScope::Kind::Container, kRoot});
  ASSERT_EQ(now.error, nullptr);
  std::vector<std::string> names;
  for (const auto& item : now.items) names.push_back(item->filename());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"kept.txt", "new.txt"}));
  auto again = store.lookup(kept->itemIdentifier()).item;
  ASSERT_NE(again, nullptr) << "the identifier of an item that stayed is kept";
  EXPECT_FALSE(again->isDownloaded()) << "its content changed on the server, so the local copy is stale";
  auto location = store.location(again, std::nullopt);
  EXPECT_EQ(store.fileState(*location.path), VLStoreFileState::Placeholder);
}

}  // namespace
