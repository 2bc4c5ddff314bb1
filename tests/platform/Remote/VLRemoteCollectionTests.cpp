// Collections kept by the host from a scripted provider's item-level reports: the delivery
// contract (first reload after startObserving returns, batches against the right ordering,
// nothing after stopObserving) and the reports that must be ignored or turned into errors.
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "ScriptedProvider.h"
#include "support/SimulatedHarness.h"

namespace {

using remotetest::ErrorRecorder;
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
  // Starts a collection over `container` for `delegate`; one given an ordering gets a working
  // queue of its own.
  std::shared_ptr<VLItemCollection> start(const std::string& container, const std::shared_ptr<Recorder>& delegate,
                                          const std::vector<VLSortDescriptor>& ordering = {}) {
    auto started = platform->defaultItemManager()->collectionWithIdentifier(container, std::nullopt,
                                                                            "org.example.fake", {});
    if (!ordering.empty()) {
      started->setWorkingQueue(VLDispatchQueue::make("collection-queue"));
      started->reorderItemsWithSortDescriptors(ordering);
    }
    started->setDelegate(delegate);
    started->workingQueue()->sync([&] { started->startObserving(); });
    return started;
  }
  // Opens a root collection ordered newest first; keeps its subscription number and returns
  // the host's subscription request.
  json observe() {
    collection = start(KsVaultlineRootContainerItemIdentifier, recorder, {vl_sortDescriptorByModifiedDateDescending()});
    json request = provider.expect("collections.subscribe");
    EXPECT_EQ(request["params"]["scope"],
              (json{{"kind", "container"}, {"container", "KsVaultlineRootContainerItemIdentifier"}}));
    subscription = request["params"]["subscription"];
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
  std::vector<json> fence() { return provider.fence(platform); }
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

TEST_F(VLRemoteCollections, TurnsItemLevelReportsIntoOrderedBatches) {
  json request = observe();
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

  // After stopObserving, changes reach nobody.
  size_t before = recorder->count();
  collection->workingQueue()->sync([&] { collection->stopObserving(); });
  changed({{"updated", {ScriptedProvider::item("late", 99)}}});
  provider.notify("collections.failed", {{"subscription", subscription}, {"error", {{"domain", "D"}, {"code", 1}}}});
  fence();
  drain();
  EXPECT_EQ(recorder->count(), before);
}

// Collections over one scope share the provider's subscription, and it outlives them: a later
// collection gets the current members at once. Beyond the limit of idle subscriptions the one
// with the fewest members is closed first; one that failed is never offered again.
TEST_F(VLRemoteCollections, CollectionsOverOneScopeShareOneSubscriptionThatOutlivesThem) {
  struct Watch {
    std::shared_ptr<VLItemCollection> collection;
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    void stop() { collection->workingQueue()->sync([&] { collection->stopObserving(); }); }
  };
  auto watch = [&](const std::string& container) {
    Watch w;
    w.collection = start(container, w.recorder);
    return w;
  };
  auto members = [](const Watch& w) {
    std::set<std::string> out;
    for (const auto& item : w.collection->items()) out.insert(item->itemIdentifier());
    return out;
  };
  auto reloaded = [](const Event& e) { return e.kind == "reload"; };
  json request = observe();
  provider.answer(request, {{"items", {ScriptedProvider::item("a", 10), ScriptedProvider::item("b", 20)}}});
  ASSERT_GE(recorder->waitFor(reloaded), 0);

  Watch second = watch(KsVaultlineRootContainerItemIdentifier);
  ASSERT_GE(second.recorder->waitFor(reloaded), 0);
  EXPECT_EQ(members(second), (std::set<std::string>{"a", "b"}));
  changed({{"updated", {ScriptedProvider::item("c", 15)}}});
  ASSERT_GE(second.recorder->waitFor([](const Event& e) { return e.kind == "insert"; }), 0);
  ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "insert"; }), 0);
  second.stop();
  collection->workingQueue()->sync([&] { collection->stopObserving(); });
  changed({{"deleted", {"a"}}});  // while nobody observes: the shared members keep up
  EXPECT_EQ(fence(), std::vector<json>{}) << "neither a second subscription nor an unsubscription";
  Watch third = watch(KsVaultlineRootContainerItemIdentifier);
  ASSERT_GE(third.recorder->waitFor(reloaded), 0);
  EXPECT_EQ(members(third), (std::set<std::string>{"b", "c"}));
  third.stop();

  // More idle scopes than kept: the empty ones go first, the oldest of them first.
  std::vector<json> numbers, closed;
  for (size_t i = 0; i <= VLRemoteSession::kIdleFeeds; ++i) {
    Watch folder = watch("f" + std::to_string(i));
    json subscribe;
    for (json message = provider.next(); !message.is_null(); message = provider.next()) {
      if (message["method"] == "collections.subscribe") {
        subscribe = message;
        break;
      }
      closed.push_back(message["params"]["subscription"]);
    }
    ASSERT_FALSE(subscribe.is_null());
    numbers.push_back(subscribe["params"]["subscription"]);
    provider.answer(subscribe, {{"items", json::array()}});
    ASSERT_GE(folder.recorder->waitFor(reloaded), 0);
    folder.stop();
  }
  for (const json& message : fence()) closed.push_back(message["params"]["subscription"]);
  EXPECT_EQ(closed, (std::vector<json>{numbers[0], numbers[1]}));

  // The root's idle subscription fails: the next collection subscribes afresh.
  provider.notify("collections.failed", {{"subscription", subscription}, {"error", {{"domain", "D"}, {"code", 1}}}});
  EXPECT_EQ(fence(), std::vector<json>{});
  Watch fourth = watch(KsVaultlineRootContainerItemIdentifier);
  json again = provider.expect("collections.subscribe");
  EXPECT_NE(again["params"]["subscription"], subscription);
  provider.answer(again, {{"items", {ScriptedProvider::item("d", 1)}}});
  ASSERT_GE(fourth.recorder->waitFor(reloaded), 0);
  EXPECT_EQ(members(fourth), (std::set<std::string>{"d"}));
  fourth.stop();
}

// A collection says, in the protocol's words, when the provider has sent nothing for it: so
// that a provider that never reports changes reads as such in a failed check.
TEST_F(VLRemoteCollections, SaysInTheProtocolsWordsWhenTheProviderHasBeenSilent) {
  json request = observe();
  const std::string named = "subscription " + subscription.dump() + " (scope " + request["params"]["scope"].dump() + ")";
  EXPECT_EQ(collection->silenceNote(), "The provider has not finished its answer to \"collections.subscribe\" for " + named + ".");
  provider.answer(request, {{"items", {ScriptedProvider::item("a", 10)}}});
  ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "reload"; }), 0);
  EXPECT_EQ(collection->silenceNote(), "The provider sent no \"collections.changed\" for " + named + " since its answer.");
  changed({{"updated", {ScriptedProvider::item("b", 15)}}});
  ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "insert"; }), 0);
  EXPECT_EQ(collection->silenceNote(), "");

  // A later collection over the shared subscription counts from its own start.
  auto laterRecorder = std::make_shared<Recorder>();
  auto later = start(KsVaultlineRootContainerItemIdentifier, laterRecorder);
  ASSERT_GE(laterRecorder->waitFor([](const Event& e) { return e.kind == "reload"; }), 0);
  EXPECT_EQ(later->silenceNote(), "The provider sent no \"collections.changed\" for " + named +
                                      " since this collection took its members (its last came before).");
  later->workingQueue()->sync([&] { later->stopObserving(); });
  EXPECT_EQ(later->silenceNote(), "") << "a stopped collection waits for nothing";
}

// Collections over one scope in different orderings share the feed's sorted lists: each
// batch reaches each collection at its own rows, and one that changes its ordering between
// batches goes on from the list in its new ordering.
TEST_F(VLRemoteCollections, EachOrderingOfASharedScopeGetsItsOwnRows) {
  json request = observe();  // newest first
  provider.answer(request, {{"items", {ScriptedProvider::item("a", 10), ScriptedProvider::item("b", 20)}}});
  auto reloaded = [](const Event& e) { return e.kind == "reload"; };
  ASSERT_GE(recorder->waitFor(reloaded), 0);

  auto named = std::make_shared<Recorder>();
  auto byName = start(KsVaultlineRootContainerItemIdentifier, named, {VLSortDescriptor{"filename", false}});  // z to a
  ASSERT_GE(named->waitFor(reloaded), 0);
  auto identifiers = [](const std::shared_ptr<VLItemCollection>& c) {
    std::vector<std::string> out;
    for (const auto& item : c->items()) out.push_back(item->itemIdentifier());
    return out;
  };
  EXPECT_EQ(identifiers(byName), (std::vector<std::string>{"b", "a"}));

  // "c" goes between the two by date and first by name: each collection hears of it at its
  // own row (an insert names the item at its row of the new list).
  changed({{"updated", {ScriptedProvider::item("c", 15)}}});
  auto eventOf = [](const std::string& kind, const std::string& identifier) {
    return [kind, identifier](const Event& e) {
      return e.kind == kind && e.item && e.item->itemIdentifier() == identifier;
    };
  };
  auto insertOf = [&](const std::string& identifier) { return eventOf("insert", identifier); };
  ASSERT_GE(named->waitFor(insertOf("c")), 0);
  ASSERT_GE(recorder->waitFor(insertOf("c")), 0);
  EXPECT_EQ(identifiers(collection), (std::vector<std::string>{"b", "c", "a"}));
  EXPECT_EQ(identifiers(byName), (std::vector<std::string>{"c", "b", "a"}));

  // Now from a to z, then a batch: the reorder is a reload, the batch lands at a-to-z rows.
  byName->reorderItemsWithSortDescriptors({VLSortDescriptor{"filename", true}});
  size_t afterReorder = named->count();
  changed({{"updated", {ScriptedProvider::item("bb", 5)}}, {"deleted", {"a"}}});
  ASSERT_GE(named->waitFor(insertOf("bb"), afterReorder), 0);
  ASSERT_GE(recorder->waitFor(insertOf("bb")), 0);
  EXPECT_EQ(identifiers(byName), (std::vector<std::string>{"b", "bb", "c"}));
  EXPECT_EQ(identifiers(collection), (std::vector<std::string>{"b", "c", "bb"}));
  EXPECT_GE(named->waitFor(eventOf("delete", "a"), afterReorder), 0);
  byName->workingQueue()->sync([&] { byName->stopObserving(); });
}

// Changes before the answer, or before its last page, break the ordering rule and are dropped.
TEST_F(VLRemoteCollections, EarlyReportsAreIgnoredAndAPagedAnswerIsOneReloadAfterTheLastPage) {
  json request = observe();
  changed({{"updated", {ScriptedProvider::item("early", 5)}}});
  provider.answer(request, {{"items", {ScriptedProvider::item("a", 10)}}, {"more", true}});
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
    json answer;         // to the subscription request
    std::string method;  // then a notification for the subscription; "" none, "hang up" the provider goes
    json params;
    std::string words;
  };
  const json none = json::array();
  const std::vector<Row> rows = {
      {"error answer",
       {{"error", {{"domain", "KsVaultlineErrorDomain"}, {"code", -1006}, {"description", "no working set"}}}},
       "",
       {},
       "no working set"},
      {"invalid changes", {{"items", none}}, "collections.changed", {{"updated", {{{"itemIdentifier", "x"}}}}},
       "collections.changed for subscription 1 is not valid: params.updated[0]: missing field "
       "\"parentItemIdentifier\""},
      {"unannounced page", {{"items", none}}, "collections.items", {{"items", none}},
       "did not say that more pages follow"},
      {"invalid page", {{"items", none}, {"more", true}}, "collections.items", {{"items", "none"}},
       "collections.items for subscription 1 is not valid: params.items: expected an array"},
      {"failure report", {{"items", none}}, "collections.failed",
       {{"error", {{"domain", "KsVaultlineErrorDomain"}, {"code", -1005}, {"description", "container deleted"}}}},
       "container deleted"},
      {"provider gone", {{"items", none}}, "hang up", {}, "The provider fake closed the connection."},
  };
  auto subscriptionOf = [](const json& request) { return request["params"]["subscription"]; };
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
    provider.answer(request, row.answer);
    if (row.method == "hang up") {
      provider.hangUp();
    } else if (!row.method.empty()) {
      json params = row.params;
      params["subscription"] = subscriptionOf(request);
      provider.notify(row.method, params);
    }
    ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "error"; }), 0) << row.ending;
    if (row.method != "hang up") {
      provider.notify("collections.changed",
                      {{"subscription", subscriptionOf(request)}, {"updated", {ScriptedProvider::item("after", 7)}}});
      provider.fence(platform);
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
