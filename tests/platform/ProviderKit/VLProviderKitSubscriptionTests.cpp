// Subscriptions worked out by the kit: pages of a big answer, and the batches a change report
// becomes for each scope (who joined, who left, who changed, the container itself).
#include <set>

#include "KitHarness.h"
#include "ProviderKit/VLProviderKitSubscription.h"

namespace {

using json = nlohmann::json;

std::set<std::string> identifiers(const json& items) {
  std::set<std::string> found;
  for (const auto& item : items)
    found.insert(item.is_string() ? item.get<std::string>() : item["itemIdentifier"].get<std::string>());
  return found;
}

VLItemRef withChanges(const std::string& id, const std::string& parent,
                      const std::function<void(VLItemAttributes&)>& change, bool folder = false) {
  auto a = ScriptedStore::attributes(id, parent, folder);
  change(a);
  return VLItem::make(a);
}

class KitPaging : public ::testing::TestWithParam<size_t> {};

TEST_P(KitPaging, EveryMemberArrivesOnceAndOnlyTheLastPageEnds) {
  auto store = std::make_shared<ScriptedStore>();
  const size_t count = GetParam();
  for (size_t i = 0; i < count; ++i)
    store->put(
        VLItem::make(ScriptedStore::attributes("item-" + std::to_string(i), KsVaultlineRootContainerItemIdentifier)));
  KitHost host(store);
  host.initialize();
  host.request(
      1, "collections.subscribe",
      {{"subscription", 7}, {"scope", {{"kind", "container"}, {"container", KsVaultlineRootContainerItemIdentifier}}}});
  json page = host.answer(1)["result"];
  std::multiset<std::string> seen;
  size_t pages = 1;
  for (;;) {
    EXPECT_LE(page["items"].size(), VLProviderKitSubscription::kPageSize);
    for (const auto& item : page["items"]) seen.insert(item["itemIdentifier"].get<std::string>());
    if (!page.value("more", false)) break;
    page = host.notification("collections.items", 7)["params"];
    ++pages;
  }
  EXPECT_EQ(seen.size(), count);
  EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()).size(), count) << "a member came twice";
  EXPECT_EQ(pages, count == 0 ? 1 : (count + 999) / 1000);
}

INSTANTIATE_TEST_SUITE_P(Sizes, KitPaging, ::testing::Values(0, 1, 1000, 1001, 2500));

// One tree watched through every kind of scope; each step is one change report, and each
// scope must get exactly the batch the step means for it.
TEST(KitMembership, EachScopeGetsItsOwnBatch) {
  const std::string root = KsVaultlineRootContainerItemIdentifier;
  auto store = std::make_shared<ScriptedStore>();
  store->put(VLItem::make(ScriptedStore::attributes("A", root, true)));
  store->put(VLItem::make(ScriptedStore::attributes("B", root, true)));
  store->put(VLItem::make(ScriptedStore::attributes("f", "A")));
  store->put(VLItem::make(ScriptedStore::attributes("g", "A")));
  KitHost host(store);
  host.initialize();
  const std::map<int64_t, json> scopes = {{1, {{"kind", "container"}, {"container", "A"}}},
                                          {2, {{"kind", "container"}, {"container", "B"}}},
                                          {3, {{"kind", "workingSet"}}},
                                          {4, {{"kind", "provider"}}}};
  for (const auto& [number, scope] : scopes) {
    host.request(10 + number, "collections.subscribe", {{"subscription", number}, {"scope", scope}});
    host.answer(10 + number);
  }
  struct Expected {
    std::set<std::string> updated, deleted;
    bool observed = false;
  };
  auto expect = [&](const std::string& step, const std::map<int64_t, Expected>& batches) {
    for (const auto& [number, expected] : batches) {
      SCOPED_TRACE(step + ", subscription " + std::to_string(number));
      json params = host.notification("collections.changed", number)["params"];
      EXPECT_EQ(identifiers(params.value("updated", json::array())), expected.updated);
      EXPECT_EQ(identifiers(params.value("deleted", json::array())), expected.deleted);
      EXPECT_EQ(params.contains("observedItem"), expected.observed);
    }
    EXPECT_EQ(host.untaken(), 0u) << step << ": a scope got a batch it should not have";
  };

  // f moves from A to B: A loses it and its count, B gains both, the provider scope sees it move.
  store->edit([&] { store->put(withChanges("f", "B", [](auto& a) { a.documentSize = 1; })); }, {"f"});
  expect("move", {{1, {{}, {"f"}}}, {2, {{"f"}, {}}}, {4, {{"f"}, {}}}});
  // The folder itself changed: its container scope hears of it as the observed item.
  store->edit(
      [&] {
        store->put(withChanges(
            "A", root, [](auto& a) { a.childItemCount = 1; }, true));
      },
      {"A"});
  expect("container", {{1, {{}, {}, true}}, {4, {{"A"}, {}}}});
  // A tag puts g into the working set; reporting an unchanged item changes nothing.
  store->edit([&] { store->put(withChanges("g", "A", [](auto& a) { a.tags = {VLTag::make("Red", 7)}; })); },
              {"g", "B"});
  expect("tag", {{1, {{"g"}, {}}}, {3, {{"g"}, {}}}, {4, {{"g"}, {}}}});
  // Trashing A takes g (inside it) out of the working set and the provider scope; A stays there.
  store->edit(
      [&] {
        store->put(withChanges(
            "A", "trash",
            [](auto& a) {
              a.trashed = true;
              a.childItemCount = 1;
            },
            true));
      },
      {"A", "g"});
  expect("trash", {{1, {{}, {}, true}}, {3, {{}, {"g"}}}, {4, {{"A"}, {"g"}}}});
  // B is deleted with f inside: its own subscription ends, the provider scope loses both.
  store->edit([&] { store->erase("B"), store->erase("f"); }, {"B", "f"});
  json failed = host.notification("collections.failed", 2)["params"];
  EXPECT_EQ(failed["error"]["code"], VLVaultlineErrorNoSuchItem);
  expect("delete", {{4, {{}, {"B", "f"}}}});
  // A failed subscription hears nothing more.
  store->edit([&] { store->put(VLItem::make(ScriptedStore::attributes("B", root, true))); }, {"B"});
  expect("after failure", {{4, {{"B"}, {}}}});
}

// A store without notifications: the kit enumerates each open subscription on a timer.
TEST(KitMembership, APolledStoreIsDiffedAgainstWhatWasReported) {
  auto store = std::make_shared<ScriptedStore>();
  store->poll = std::chrono::milliseconds(5);
  store->put(VLItem::make(ScriptedStore::attributes("old", KsVaultlineRootContainerItemIdentifier)));
  KitHost host(store);
  host.initialize();
  host.request(
      1, "collections.subscribe",
      {{"subscription", 1}, {"scope", {{"kind", "container"}, {"container", KsVaultlineRootContainerItemIdentifier}}}});
  EXPECT_EQ(identifiers(host.answer(1)["result"]["items"]), std::set<std::string>{"old"});
  store->erase("old");
  store->put(VLItem::make(ScriptedStore::attributes("new", KsVaultlineRootContainerItemIdentifier)));
  // Polls may see either edit first; together they say that "old" left and "new" joined.
  std::set<std::string> updated, deleted;
  while (updated.empty() || deleted.empty()) {
    json params = host.notification("collections.changed", 1)["params"];
    if (params.empty()) break;
    for (const auto& id : identifiers(params.value("updated", json::array()))) updated.insert(id);
    for (const auto& id : identifiers(params.value("deleted", json::array()))) deleted.insert(id);
  }
  EXPECT_EQ(updated, std::set<std::string>{"new"});
  EXPECT_EQ(deleted, std::set<std::string>{"old"});
}

}  // namespace
