// Collections kept by the host from a scripted provider's item-level reports: the delivery
// contract (first reload after startObserving returns, batches against the right ordering,
// nothing after stopObserving) and the reports that must be ignored or turned into errors.
#include <gtest/gtest.h>

#include "ScriptedProvider.h"
#include "support/SimulatedHarness.h"

namespace {

using remotetest::json;
using remotetest::ScriptedProvider;
using simtest::Event;
using simtest::Recorder;

class VLRemoteCollections : public ::testing::Test {
 protected:
  void SetUp() override {
    platform = provider.open();
    ASSERT_TRUE(platform);
  }
  void TearDown() override {
    if (collection) collection->workingQueue()->sync([&] { collection->stopObserving(); });
  }
  // Opens a root collection ordered newest first; returns the host's subscription request.
  json observe() {
    collection = platform->defaultItemManager()->collectionWithIdentifier(KsVaultlineRootContainerItemIdentifier,
                                                                          std::nullopt, "org.example.fake", {});
    collection->setWorkingQueue(VLDispatchQueue::make("collection-queue"));
    collection->reorderItemsWithSortDescriptors({vl_sortDescriptorByModifiedDateDescending()});
    collection->setDelegate(recorder);
    collection->workingQueue()->sync([&] { collection->startObserving(); });
    json request = provider.expect("collections.subscribe");
    EXPECT_EQ(request["params"]["scope"],
              (json{{"kind", "container"}, {"container", "KsVaultlineRootContainerItemIdentifier"}}));
    return request;
  }
  void changed(json params) {
    params["subscription"] = subscription;
    provider.notify("collections.changed", params);
  }
  std::vector<std::string> kinds(size_t from = 0) {
    std::vector<std::string> out;
    auto events = recorder->events();
    for (size_t i = from; i < events.size(); ++i) {
      out.push_back(events[i].kind + (events[i].item ? ":" + events[i].item->itemIdentifier() : ""));
    }
    return out;
  }
  // Waits until the working queue has delivered everything posted so far.
  void drain() {
    collection->workingQueue()->sync([] {});
  }

  ScriptedProvider provider;
  std::shared_ptr<VLRemotePlatform> platform;
  std::shared_ptr<VLItemCollection> collection;
  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
  json subscription;
};

using Kinds = std::vector<std::string>;

// Also keeps the errors it is told about.
class ErrorRecorder : public Recorder {
 public:
  void collectionDidEncounterError(VLItemCollection& collection, const VLErrorRef& error) override {
    {
      std::lock_guard lock(mutex_);
      errors_.push_back(error);
    }
    Recorder::collectionDidEncounterError(collection, error);
  }
  std::vector<VLErrorRef> errors() {
    std::lock_guard lock(mutex_);
    return errors_;
  }

 private:
  std::mutex mutex_;
  std::vector<VLErrorRef> errors_;
};

TEST_F(VLRemoteCollections, TurnsItemLevelReportsIntoOrderedBatches) {
  json request = observe();
  subscription = request["params"]["subscription"];
  EXPECT_EQ(recorder->count(), 0u) << "nothing before the provider answers";
  provider.answer(request, {{"items", {ScriptedProvider::item("a", 10), ScriptedProvider::item("b", 20)}}});
  ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "reload"; }), 0);
  EXPECT_EQ(kinds(), (Kinds{"reload:b", "reload:a"}));

  // An insert, a deletion of a non-member, and an update that reorders, in one batch.
  changed({{"updated", {ScriptedProvider::item("c", 15), ScriptedProvider::item("a", 30)}}, {"deleted", {"zzz"}}});
  // A change of the observed container itself comes after its batch.
  changed({{"deleted", {"b"}}, {"observedItem", ScriptedProvider::item(KsVaultlineRootContainerItemIdentifier, 1)}});
  ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "observed"; }), 0);
  EXPECT_EQ(kinds(2), (Kinds{"insert:c", "update:a", "move:a", "move:b", "delete:b",
                             "observed:KsVaultlineRootContainerItemIdentifier"}));
  EXPECT_EQ(recorder->batches(), 2);
  auto items = collection->items();
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0]->itemIdentifier(), "a");
  EXPECT_EQ(items[0]->providerIdentifier(), "org.example.fake") << "the handshake's provider fills in";

  // After stopObserving: the host unsubscribes and late changes reach nobody.
  size_t before = recorder->count();
  collection->workingQueue()->sync([&] { collection->stopObserving(); });
  EXPECT_EQ(provider.expect("collections.unsubscribe")["params"]["subscription"], subscription);
  changed({{"updated", {ScriptedProvider::item("late", 99)}}});
  provider.notify("collections.failed", {{"subscription", subscription}, {"error", {{"domain", "D"}, {"code", 1}}}});
  // A later request's answer proves the reader has handled both notifications.
  auto root = vl_await<VLItemRef>([&](auto reply) {
    platform->defaultItemManager()->fetchRootItemForProvider(platform->provider(),
                                                             [reply](VLItemRef item, VLErrorRef) { reply(item); });
    provider.answer(provider.expect("items.root"), {{"item", ScriptedProvider::item("root", 1)}});
  });
  EXPECT_TRUE(root);
  drain();
  EXPECT_EQ(recorder->count(), before);
}

TEST_F(VLRemoteCollections, EarlyReportsAreIgnored) {
  json request = observe();
  subscription = request["params"]["subscription"];
  // Changes before the answer break the ordering rule and are dropped.
  changed({{"updated", {ScriptedProvider::item("early", 5)}}});
  provider.answer(request, {{"items", json::array()}});
  ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "reload"; }), 0);
  drain();
  EXPECT_TRUE(collection->items().empty());
  EXPECT_EQ(kinds(), (Kinds{"reload"}));
}

TEST_F(VLRemoteCollections, PagedAnswerIsOneReloadAfterTheLastPage) {
  json request = observe();
  subscription = request["params"]["subscription"];
  provider.answer(request, {{"items", {ScriptedProvider::item("a", 10)}}, {"more", true}});
  // Changes before the last page break the ordering rule like changes before an answer.
  changed({{"updated", {ScriptedProvider::item("early", 5)}}});
  provider.notify("collections.items",
                  {{"subscription", subscription}, {"items", {ScriptedProvider::item("b", 20)}}, {"more", true}});
  provider.notify("collections.items", {{"subscription", subscription}, {"items", {ScriptedProvider::item("c", 15)}}});
  ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "reload"; }), 0);
  changed({{"deleted", {"a"}}});
  ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "delete"; }), 0);
  EXPECT_EQ(kinds(), (Kinds{"reload:b", "reload:c", "reload:a", "delete:a"}));
}

// Every way a subscription can end in an error: one error callback with the reason, then silence.
TEST(VLRemoteCollectionEnds, EachEndingIsOneErrorWithItsReason) {
  struct Row {
    const char* ending;
    std::function<void(ScriptedProvider&, const json& request)> stage;
    std::string words;
  };
  auto subscriptionOf = [](const json& request) { return request["params"]["subscription"]; };
  const std::vector<Row> rows = {
      {"error answer",
       [](ScriptedProvider& p, const json& request) {
         p.answer(
             request,
             {{"error", {{"domain", "KsVaultlineErrorDomain"}, {"code", -1006}, {"description", "no working set"}}}});
       },
       "no working set"},
      {"invalid changes",
       [&](ScriptedProvider& p, const json& request) {
         p.answer(request, {{"items", json::array()}});
         p.notify("collections.changed",
                  {{"subscription", subscriptionOf(request)}, {"updated", {{{"itemIdentifier", "x"}}}}});
       },
       "collections.changed for subscription 1 is not valid: params.updated[0]: missing field "
       "\"parentItemIdentifier\""},
      {"unannounced page",
       [&](ScriptedProvider& p, const json& request) {
         p.answer(request, {{"items", json::array()}});
         p.notify("collections.items", {{"subscription", subscriptionOf(request)}, {"items", json::array()}});
       },
       "did not say that more pages follow"},
      {"invalid page",
       [&](ScriptedProvider& p, const json& request) {
         p.answer(request, {{"items", json::array()}, {"more", true}});
         p.notify("collections.items", {{"subscription", subscriptionOf(request)}, {"items", "none"}});
       },
       "collections.items for subscription 1 is not valid: params.items: expected an array"},
      {"failure report",
       [&](ScriptedProvider& p, const json& request) {
         p.answer(request, {{"items", json::array()}});
         p.notify("collections.failed",
                  {{"subscription", subscriptionOf(request)},
                   {"error",
                    {{"domain", "KsVaultlineErrorDomain"}, {"code", -1005}, {"description", "container deleted"}}}});
       },
       "container deleted"},
      {"provider gone",
       [](ScriptedProvider& p, const json& request) {
         p.answer(request, {{"items", json::array()}});
         p.hangUp();
       },
       "The provider fake closed the connection."},
  };
  for (const auto& row : rows) {
    ScriptedProvider provider;
    auto platform = provider.open();
    ASSERT_TRUE(platform);
    auto recorder = std::make_shared<ErrorRecorder>();
    auto collection = platform->defaultItemManager()->collectionWithIdentifier(
        KsVaultlineWorkingSetContainerItemIdentifier, std::nullopt, "org.example.fake", {});
    collection->setDelegate(recorder);
    collection->workingQueue()->sync([&] { collection->startObserving(); });
    json request = provider.expect("collections.subscribe");
    EXPECT_EQ(request["params"]["scope"], (json{{"kind", "workingSet"}})) << row.ending;
    row.stage(provider, request);
    ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "error"; }), 0) << row.ending;
    if (std::string(row.ending) != "provider gone") {
      provider.notify("collections.changed",
                      {{"subscription", subscriptionOf(request)}, {"updated", {ScriptedProvider::item("after", 7)}}});
      // A later answer proves the reader has handled that notification.
      vl_await<bool>([&](auto reply) {
        platform->defaultItemManager()->fetchRootItemForProvider(platform->provider(),
                                                                 [reply](VLItemRef, VLErrorRef) { reply(true); });
        provider.answer(provider.expect("items.root"), {{"item", ScriptedProvider::item("root", 1)}});
      });
    }
    collection->workingQueue()->sync([&] { collection->stopObserving(); });
    auto errors = recorder->errors();
    ASSERT_EQ(errors.size(), 1u) << row.ending;
    EXPECT_NE(errors[0]->localizedDescription().find(row.words), std::string::npos)
        << row.ending << ": " << errors[0]->localizedDescription();
    EXPECT_EQ(recorder->events().back().kind, "error") << row.ending << ": silent after the error";
  }
}

}  // namespace
