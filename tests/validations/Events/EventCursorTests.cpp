#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "Core/VLException.h"
#include "Validations/VLEventCursor.h"
#include "Validations/VLItemDescription.h"
#include "Validations/VLNearMiss.h"
#include "Validations/VLValidationErrors.h"
#include "support/TestItems.h"

namespace {

class EventCursorTest : public ::testing::Test {
 protected:
  void SetUp() override { stream->setStreamDescription("the stream"); }

  VLEventRef add(const std::string& type, const std::string& name,
                 const std::function<void(VLItemAttributes&)>& adjust = {}) {
    auto event = VLEvent::make(type, vl_testItem("id-" + name, name, adjust));
    stream->addEvent(event);
    return event;
  }
  static std::shared_ptr<VLExpectedEvent> insertNamed(const std::string& name) {
    return VLExpectedEvent::eventWithType(VLEventInsert, [&](VLExpectedItem& item) { item.setFilename(name); });
  }
  // Settling is queued on the validator; reading the handled list is ordered after it.
  std::shared_ptr<VLExpectation> lastHandled() { return validator->handledExpectations().back(); }
  size_t streamLength() {
    size_t length = 0;
    stream->performWithEvents([&](const std::vector<VLEventRef>& events) { length = events.size(); });
    return length;
  }

  std::shared_ptr<VLValidator> validator = VLValidator::make();
  std::shared_ptr<VLEventStream> stream = VLEventStream::make();
  std::shared_ptr<VLEventCursor> cursor = VLEventCursor::make(validator, stream);
};

}  // namespace

TEST_F(EventCursorTest, PresentEventFulfilsWithTypeAndItem) {
  auto event = add(VLEventInsert, "a.txt");
  EXPECT_EQ(cursor->check(insertNamed("a.txt")), event);
  EXPECT_EQ(lastHandled()->description(),
            "Expecting signal (insert), properties filename: a.txt, pending: 0 on the stream");
  EXPECT_EQ(lastHandled()->result(), VLValidationResultPassed);
  EXPECT_EQ(lastHandled()->comment(), "Fulfilled by insert on " + vl_prettyDescription(event->item()));
  EXPECT_EQ(streamLength(), 1u);  // a check leaves the stream alone
}

TEST_F(EventCursorTest, FailuresExplainTimeOutOrClosestMatch) {
  add(VLEventDelete, "a");
  add(VLEventInsert, "b");
  EXPECT_EQ(cursor->check(insertNamed("a"), 0.01), nullptr);
  EXPECT_EQ(lastHandled()->result(), VLValidationResultFailed);
  EXPECT_EQ(lastHandled()->error()->domain(), KsVaultlineValidationErrorDomain);
  EXPECT_EQ(lastHandled()->error()->code(), VLValidationErrorCheckFailed);
  EXPECT_EQ(lastHandled()->comment(), "Timed out (0.01s)");

  auto sized = add(VLEventInsert, "c", [](VLItemAttributes& a) { a.documentSize = 5; });
  auto expected = VLExpectedEvent::eventWithType(VLEventInsert, [](VLExpectedItem& item) {
    item.setFilename("c");
    item.setDocumentSize(6);
    item.setTrashed(true);
  });
  EXPECT_EQ(cursor->check(expected, 0), nullptr);
  EXPECT_EQ(lastHandled()->comment(),
            "Closest match was\n" + vl_prettyDescription(sized->item()) +
                "\nbut these keys differed from expectation:\ndocumentSize: got 5, but expected 6"
                "\ntrashed: got 0, but expected 1");
  EXPECT_EQ(lastHandled()->error()->code(), VLValidationErrorCheckFailed);
  // The same near miss as data: every expected key, in the order the description lists them.
  const std::string closest = vl_prettyDescription(sized->item());
  EXPECT_EQ(VLNearMiss::of(lastHandled()->error()),
            (VLNearMiss{"signal (insert), properties documentSize: 6, filename: c, pending: 0, trashed: 1",
                        closest,
                        {{"documentSize", "6", "5", true},
                         {"filename", "c", "c", false},
                         {"pending", "0", "0", false},
                         {"trashed", "1", "0", true}}}));

  // A collection that ends in an error after a near miss: the check ends at the error, at
  // once, and says both.
  stream->addEvent(VLEvent::make("encountered-error: the provider went away", nullptr));
  auto again = VLExpectedEvent::eventWithType(VLEventInsert, [](VLExpectedItem& item) {
    item.setFilename("c");
    item.setDocumentSize(6);
  });
  EXPECT_EQ(cursor->check(again, 60), nullptr);
  EXPECT_EQ(lastHandled()->comment(),
            "the stream ended with an error before the event came: the provider went away\n"
            "Closest match was\n" + vl_prettyDescription(sized->item()) +
                "\nbut these keys differed from expectation:\ndocumentSize: got 5, but expected 6");
  ASSERT_TRUE(VLNearMiss::of(lastHandled()->error()));
  EXPECT_EQ(VLNearMiss::of(lastHandled()->error())->closest, closest);
}

// The near miss an error carries is read back only when it has the shape value() gives it.
TEST_F(EventCursorTest, ANearMissIsReadOnlyFromItsOwnShape) {
  const VLNearMiss miss{"signal (any), properties filename: a", "a id:1", {{"filename", "a", "a", false}}};
  EXPECT_EQ(VLNearMiss::fromValue(miss.value()), miss);
  auto error = VLError::make(KsVaultlineValidationErrorDomain, 1, {{VLNearMissKey, miss.value()}});
  EXPECT_EQ(VLNearMiss::of(error), miss);
  EXPECT_FALSE(VLNearMiss::of(nullptr));
  EXPECT_FALSE(VLNearMiss::of(VLError::makeWithDescription(KsVaultlineValidationErrorDomain, 2, "Timed out (1s)")));

  auto changed = [&](const std::function<void(VLValue::Dictionary& whole, VLValue::Dictionary& key)>& change) {
    VLValue::Dictionary whole = *miss.value().dictionary();
    VLValue::Dictionary key = *(*whole["keys"].array())[0].dictionary();
    change(whole, key);
    whole["keys"] = VLValue::Array{key};
    return VLNearMiss::fromValue(whole);
  };
  EXPECT_TRUE(changed([](auto&, auto&) {}));
  EXPECT_FALSE(changed([](auto& whole, auto&) { whole.erase("closest"); }));
  EXPECT_FALSE(changed([](auto&, auto& key) { key["differs"] = 1; }));
  EXPECT_FALSE(changed([](auto&, auto& key) { key["got"] = VLValue(); }));
  EXPECT_FALSE(VLNearMiss::fromValue("a near miss"));
  EXPECT_FALSE(VLNearMiss::fromValue(VLValue::Dictionary{{"waitingFor", "x"}, {"closest", "y"}, {"keys", "z"}}));
}

// What the stream's source says about its own silence stands beside a failed check's words,
// and only when the source has one to say.
TEST_F(EventCursorTest, ASilentSourceIsNamedBesideTheCasesOwnWords) {
  std::atomic<bool> silent = true;
  stream->setSilenceNote([&] { return silent ? std::string("no reports since the answer") : std::string(); });
  EXPECT_EQ(cursor->check(insertNamed("a"), 0), nullptr);
  EXPECT_EQ(lastHandled()->comment(), "Timed out (0s)\nno reports since the answer");
  auto near = add(VLEventInsert, "b");
  auto named = [&](const std::string& name) {
    return VLExpectedEvent::eventWithType(VLEventInsert, [&](VLExpectedItem& item) {
      item.setFilename("b");
      item.setDocumentSize(name.size());
    });
  };
  EXPECT_EQ(cursor->check(named("xyz"), 0), nullptr);
  std::string nearMiss = lastHandled()->comment().value_or("");
  EXPECT_EQ(nearMiss.rfind("Closest match was\n", 0), 0u) << nearMiss;
  EXPECT_EQ(nearMiss.substr(nearMiss.rfind('\n') + 1), "no reports since the answer");
  silent = false;
  EXPECT_EQ(cursor->check(insertNamed("a"), 0), nullptr);
  EXPECT_EQ(lastHandled()->comment(), "Timed out (0s)");
  silent = true;
  EXPECT_EQ(cursor->check(insertNamed("b"), 0), near);
  EXPECT_EQ(lastHandled()->comment(), "Fulfilled by insert on " + vl_prettyDescription(near->item()));
}

TEST_F(EventCursorTest, MissingArgumentsThrowAtTheCall) {
  EXPECT_THROW(VLEventCursor::make(validator, nullptr), VLException);
  EXPECT_THROW(VLEventCursor::make(nullptr, stream), VLException);
  EXPECT_THROW(cursor->check(nullptr), VLException);
  EXPECT_THROW(stream->addEvent(nullptr), VLException);
  EXPECT_THROW(insertNamed("a")->matchesEvent(nullptr), VLException);
  EXPECT_EQ(streamLength(), 0u);
  add(VLEventInsert, "a");
  EXPECT_TRUE(cursor->check(insertNamed("a"), std::nan("")));  // NaN: the events present, no wait
}

TEST_F(EventCursorTest, AdvanceConsumesOneMatchAtATime) {
  add(VLEventInsert, "x");
  auto first = add(VLEventInsert, "a");
  add(VLEventUpdate, "a");
  auto second = add(VLEventInsert, "a");
  auto expected = insertNamed("a");
  EXPECT_EQ(cursor->advance(expected, 0), first);
  EXPECT_EQ(streamLength(), 2u);
  EXPECT_EQ(cursor->check(expected, 0), second);
  cursor->advanceToLastMatch();
  EXPECT_EQ(streamLength(), 0u);

  add(VLEventInsert, "later");
  EXPECT_EQ(cursor->advance(expected, 0), nullptr);
  EXPECT_EQ(cursor->furthestMatch(), nullptr);
  cursor->advanceToFurthestMatch();
  EXPECT_EQ(streamLength(), 1u);  // nothing dropped after a failure
}

TEST_F(EventCursorTest, FurthestMatchSkipsTheVeryFirstEventAndFollowsTheLatestCheck) {
  auto zero = add(VLEventInsert, "a");
  auto one = add(VLEventInsert, "b");
  auto two = add(VLEventInsert, "c");
  EXPECT_EQ(cursor->check(insertNamed("c"), 0), two);
  EXPECT_EQ(cursor->check(insertNamed("a"), 0), zero);
  EXPECT_EQ(cursor->furthestMatch(), two);  // timestamp 0 is never "further"
  EXPECT_EQ(cursor->check(insertNamed("b"), 0), one);
  EXPECT_EQ(cursor->furthestMatch(), one);  // not a running maximum
  cursor->advanceToFurthestMatch();
  EXPECT_EQ(streamLength(), 1u);
}

// The whole road: events fed from another thread while validation threads wait in checks.
TEST_F(EventCursorTest, ChecksOnSeveralThreadsAreFulfilledByAFeedingThread) {
  constexpr int kChecks = 4;
  std::vector<VLEventRef> found(kChecks);
  std::vector<std::thread> checkers;
  for (int i = 0; i < kChecks; ++i) {
    checkers.emplace_back(
        [&, i] { found[i] = VLEventCursor::make(validator, stream)->check(insertNamed(std::to_string(i)), 30); });
  }
  std::thread([&] {
    for (int i = kChecks - 1; i >= 0; --i) add(VLEventInsert, std::to_string(i));
  }).join();
  for (auto& checker : checkers) checker.join();
  for (int i = 0; i < kChecks; ++i) {
    ASSERT_NE(found[i], nullptr);
    EXPECT_EQ(found[i]->item()->filename(), std::to_string(i));
  }
  validator->finishValidation();
  EXPECT_EQ(validator->result(), VLValidationResultPassed);
  EXPECT_EQ(validator->handledExpectations().size(), static_cast<size_t>(kChecks));
}
