// vlprovider-dir as the host meets it: a process on pipes. Changes made by other programs reach
// the open subscriptions, and identifiers outlive the process.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "ProviderProcess.h"
#include "Vaultline/VLConstants.h"

namespace {
using json = nlohmann::json;

class DirProviderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "vlprovider-dir-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(root_); }
  static void shell(const std::string& command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; }

  std::string root_;
};

const std::string kRoot = "KsVaultlineRootContainerItemIdentifier";

json containerScope(const std::string& container) { return {{"kind", "container"}, {"container", container}}; }

// Whether `message` is a change of `subscription` that reports `filename` as updated
// (storing its item) or, with `deleted` set, reports that identifier as gone.
bool reports(const json& message, int subscription, const std::string& filename, const std::string& deleted,
             json* item) {
  if (message.value("method", "") != "collections.changed") return false;
  const json& params = message["params"];
  if (params.value("subscription", 0) != subscription) return false;
  if (!deleted.empty()) {
    for (const auto& gone : params.value("deleted", json::array())) {
      if (gone == deleted) return true;
    }
    return false;
  }
  for (const auto& updated : params.value("updated", json::array())) {
    if (updated.value("filename", "") == filename) {
      if (item) *item = updated;
      return true;
    }
  }
  return false;
}
}  // namespace

TEST_F(DirProviderTest, ChangesMadeByAnotherProcessReachEveryOpenSubscription) {
  ProviderProcess provider(VL_PROVIDER_DIR, root_);
  shell("mkdir '" + root_ + "/inbox'");
  json inbox = provider.request("items.byPath", {{"path", root_ + "/inbox"}})["item"];
  ASSERT_TRUE(inbox.is_object());
  std::string inboxID = inbox["itemIdentifier"];
  // Subscriptions 1 and 2 see the top folder and the whole provider; 3 sees the inbox.
  provider.request("collections.subscribe", {{"subscription", 1}, {"scope", containerScope(kRoot)}});
  provider.request("collections.subscribe", {{"subscription", 2}, {"scope", {{"kind", "provider"}}}});
  provider.request("collections.subscribe", {{"subscription", 3}, {"scope", containerScope(inboxID)}});

  struct Step {
    std::string command;
    std::vector<int> subscriptions;
    std::string filename;  // reported as updated, or with `deleted` as gone
    bool deleted = false;
    std::string keeps;     // the earlier name whose identifier the item keeps
  };
  std::string r = "'" + root_ + "'";
  std::vector<Step> steps = {
      {"printf hello > " + r + "/a.txt", {1, 2}, "a.txt", false, ""},
      {"cp " + r + "/a.txt " + r + "/inbox/copied.txt", {2, 3}, "copied.txt", false, ""},
      {"mv " + r + "/a.txt " + r + "/b.txt", {1, 2}, "b.txt", false, "a.txt"},
      {"rm " + r + "/b.txt", {1, 2}, "b.txt", true, ""},
      {"mkdir " + r + "/inbox/deep && printf x > " + r + "/inbox/deep/new.txt", {2}, "new.txt", false, ""},
  };
  std::map<std::string, std::string> identifiers;  // filename → identifier reported
  for (const auto& step : steps) {
    SCOPED_TRACE(step.command);
    shell(step.command);
    for (int subscription : step.subscriptions) {
      SCOPED_TRACE(subscription);
      json item;
      json change = provider.waitFor([&](const json& message) {
        return reports(message, subscription, step.filename, step.deleted ? identifiers[step.filename] : "", &item);
      });
      ASSERT_FALSE(change.is_null());
      if (!step.deleted) identifiers[step.filename] = item["itemIdentifier"];
    }
    // A rename keeps the identifier: the kernel's two halves of the move are one change.
    if (!step.keeps.empty()) {
      EXPECT_EQ(identifiers[step.filename], identifiers[step.keeps]);
    }
  }
  EXPECT_EQ(provider.stop(), 0);
}

TEST_F(DirProviderTest, IdentifiersAreKeptAcrossRestarts) {
  std::map<std::string, std::string> identifiers;  // relative path → identifier
  std::string sources = root_ + "-sources";
  std::filesystem::create_directories(sources);
  std::ofstream(sources + "/report.txt") << "Hello";
  {
    ProviderProcess provider(VL_PROVIDER_DIR, root_);
    json rootItem = provider.request("items.root", json::object())["item"];
    json folder = provider.request("actions.createFolder", {{"parent", rootItem}, {"name", "Folder"}})["item"];
    json copied = provider.request("actions.copy", {{"sources", {{{"path", sources + "/report.txt"}, {"isDirectory", false}}}},
                                                    {"destination", folder}});
    json file = copied["transferResults"][sources + "/report.txt"];
    ASSERT_TRUE(file.is_object()) << copied.dump();
    EXPECT_TRUE(provider.request("actions.rename", {{"item", file}, {"newName", "Renamed.txt"}}).value("error", json()).is_null());
    EXPECT_TRUE(provider.request("actions.move", {{"items", {file}}, {"destination", rootItem}}).value("error", json()).is_null());
    EXPECT_TRUE(provider.request("actions.trash", {{"items", {folder}}}).value("error", json()).is_null());
    identifiers["Renamed.txt"] = file["itemIdentifier"];
    identifiers["Folder"] = folder["itemIdentifier"];
    EXPECT_EQ(provider.stop(), 0);
  }
  ProviderProcess provider(VL_PROVIDER_DIR, root_);
  json file = provider.request("items.byPath", {{"path", root_ + "/Renamed.txt"}})["item"];
  ASSERT_TRUE(file.is_object());
  EXPECT_EQ(file["itemIdentifier"], identifiers["Renamed.txt"]);
  json folder = provider.request("items.lookup", {{"itemIdentifier", identifiers["Folder"]}})["item"];
  ASSERT_TRUE(folder.is_object());
  EXPECT_EQ(folder.value("trashed", false), true);
  EXPECT_EQ(folder["filename"], "Folder");
  EXPECT_TRUE(provider.request("actions.untrash", {{"items", {folder}}, {"restoreDirectory", nullptr}}).value("error", json()).is_null());
  EXPECT_EQ(provider.request("items.byPath", {{"path", root_ + "/Folder"}})["item"]["itemIdentifier"], identifiers["Folder"]);
  std::filesystem::remove_all(sources);
}
