// What the session asks of a provider on its own: the working set only of a provider that
// said it has one, and a paged answer held to its bounds (pages, members, seconds).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Dispatch/VLSemaphore.h"
#include "Remote/VLRemoteServiceConnection.h"
#include "ScriptedProvider.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "support/SimulatedHarness.h"

namespace {

using remotetest::json;
using remotetest::ScriptedProvider;
using simtest::Event;

// Asks the provider's validation service for its properties, as the eligibility check does;
// `replied` is signalled with the reply.
void askProperties(const std::shared_ptr<VLRemotePlatform>& platform, const std::shared_ptr<VLSemaphore>& replied) {
  auto connection = VLRemoteServiceConnection::make(platform->session(), "root");
  connection->setRemoteObjectInterface(KsVaultlineValidationServiceV1ProtocolName);
  connection->resume();
  connection->remoteObjectProxyWithErrorHandler([](VLErrorRef) {})->validation_allowValidation(
      [connection, replied](bool, const VLValue::Dictionary&) { replied->signal(); });
}

TEST(VLRemoteSessionWorkingSet, IsWatchedOnlyOnceTheProviderSaysItHasOne) {
  struct Row {
    const char* said;
    json options;
    bool watched;
  };
  const std::vector<Row> rows = {
      {"no working set", {{"HasNoWorkingSet", true}}, false},
      {"nothing", json::object(), false},
      {"a working set", {{"HasNoWorkingSet", false}}, true},
  };
  for (const auto& row : rows) {
    ScriptedProvider provider;
    VLRemotePlatform::Options options;
    options.watchWorkingSet = true;
    auto platform = provider.open(nullptr, nullptr, options);
    ASSERT_TRUE(platform) << row.said;
    auto replied = VLSemaphore::make(0);
    askProperties(platform, replied);
    json asked = provider.expect("validation.allowValidation");
    // Nothing about the working set is asked before the properties are known.
    ASSERT_FALSE(asked.is_null()) << row.said;
    provider.answer(asked, {{"allowed", true}, {"options", row.options}});
    if (row.watched) {
      json subscribe = provider.expect("collections.subscribe");
      EXPECT_EQ(subscribe["params"]["scope"], (json{{"kind", "workingSet"}}));
      // The properties' reply waits for the enumeration, so that the first case finds it done.
      EXPECT_FALSE(replied->wait(0)) << row.said;
      provider.answer(subscribe, {{"items", json::array()}});
    }
    EXPECT_TRUE(replied->wait(remotetest::kWaitMilliseconds / 1000.0)) << row.said;
    for (const auto& message : provider.fence(platform)) {
      EXPECT_NE(message.value("method", ""), "collections.subscribe") << row.said << ": " << message.dump();
    }
  }
}

TEST(VLRemoteSessionPaging, AnAnswerThatDoesNotEndFailsNamingTheBoundItPassed) {
  struct Row {
    const char* bound;
    size_t pages;                // collections.items sent after the first answer, each with "more"
    double timeout;              // the request time-out
    std::string words;
  };
  const std::vector<Row> rows = {
      {"pages", 4, 30, "more than 3 pages; after 4 pages of collections.items, 5 members"},
      {"members", 0, 30, "more than 4 members; after 1 pages of collections.items, 5 members"},
      // The provider goes silent after its first answer: the time-out ends it all the same.
      {"seconds", 0, 1.0, "more than 1 s (the request time-out)"},
  };
  for (const auto& row : rows) {
    ScriptedProvider provider;
    VLRemotePlatform::Options options;
    options.requestTimeout = row.timeout;
    options.maximumPages = 3;
    options.maximumPagedMembers = 4;
    auto platform = provider.open(nullptr, nullptr, options);
    ASSERT_TRUE(platform) << row.bound;
    auto recorder = std::make_shared<remotetest::ErrorRecorder>();
    auto collection = platform->defaultItemManager()->collectionWithIdentifier(
        KsVaultlineRootContainerItemIdentifier, std::nullopt, "org.example.fake", {});
    collection->setDelegate(recorder);
    collection->workingQueue()->sync([&] { collection->startObserving(); });
    json request = provider.expect("collections.subscribe");
    json subscription = request["params"]["subscription"];
    provider.answer(request, {{"items", {ScriptedProvider::item("a", 1)}}, {"more", true}});
    for (size_t page = 0; page < row.pages; ++page) {
      provider.notify("collections.items", {{"subscription", subscription},
                                            {"items", {ScriptedProvider::item("p" + std::to_string(page), 2)}},
                                            {"more", true}});
    }
    if (std::string(row.bound) == "members") {
      provider.notify("collections.items",
                      {{"subscription", subscription},
                       {"items", {ScriptedProvider::item("m1", 3), ScriptedProvider::item("m2", 3),
                                  ScriptedProvider::item("m3", 3), ScriptedProvider::item("m4", 3)}},
                       {"more", true}});
    }
    ASSERT_GE(recorder->waitFor([](const Event& e) { return e.kind == "error"; }), 0) << row.bound;
    collection->workingQueue()->sync([&] { collection->stopObserving(); });
    auto errors = recorder->errors();
    ASSERT_EQ(errors.size(), 1u) << row.bound;
    std::string text = errors[0]->localizedDescription();
    EXPECT_NE(text.find("paged answer to collections.subscribe for subscription 1 did not end"), std::string::npos)
        << text;
    EXPECT_NE(text.find(row.words), std::string::npos) << row.bound << ": " << text;
  }
}

}  // namespace
