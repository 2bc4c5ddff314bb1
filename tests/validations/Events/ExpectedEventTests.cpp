#include <gtest/gtest.h>

#include <set>
#include <string>

#include "Core/VLLog.h"
#include "Validations/VLExpectationValues.h"
#include "Validations/VLExpectedEvent.h"
#include "Validations/VLItemDescription.h"
#include "support/TestItems.h"

namespace {

using Keys = std::set<std::string>;

VLEventRef insertNamed(const std::string& name, const std::function<void(VLItemAttributes&)>& adjust = {}) {
  return VLEvent::make(VLEventInsert, vl_testItem("id-" + name, name, adjust));
}

std::shared_ptr<VLExpectedEvent> expectInsert(const std::function<void(VLExpectedItem&)>& configure) {
  return VLExpectedEvent::eventWithType(VLEventInsert, configure);
}

}  // namespace

TEST(ExpectedEvent, PendingCandidatesAreSkippedAndItemlessOnesAreNearMisses) {
  auto expected = VLExpectedEvent::eventWithType(std::nullopt, [](VLExpectedItem&) {});
  EXPECT_FALSE(expected->matchesEvent(insertNamed("a", [](VLItemAttributes& a) { a.pending = true; })));
  EXPECT_EQ(expected->closestMatch(), nullptr);
  EXPECT_FALSE(expected->matchesEvent(VLEvent::make("should-be-reloaded", nullptr)));
  ASSERT_NE(expected->closestMatch(), nullptr);
  EXPECT_EQ(expected->closestMatch()->nonmatchingKeys(), Keys{"pending"});
  EXPECT_TRUE(expected->matchesEvent(VLEvent::make(VLEventDelete, vl_testItem("1", "b"))));
}

TEST(ExpectedEvent, WrongTypeOrIdentityIsNoNearMiss) {
  auto expected = expectInsert([](VLExpectedItem& item) {
    item.setFilename("a");
    item.setDocumentSize(5);
  });
  EXPECT_FALSE(expected->matchesEvent(VLEvent::make(VLEventUpdate, vl_testItem("1", "a"))));
  EXPECT_FALSE(expected->matchesEvent(insertNamed("b")));
  EXPECT_EQ(expected->closestMatch(), nullptr);
  EXPECT_FALSE(expected->matchesEvent(insertNamed("a")));
  EXPECT_EQ(expected->closestMatch()->nonmatchingKeys(), Keys{"documentSize"});
}

TEST(ExpectedEvent, ClosestMatchKeepsFewestDifferencesAndLaterOnTies) {
  auto expected = expectInsert([](VLExpectedItem& item) {
    item.setFavoriteRank(1);
    item.setTrashed(true);
    item.setChildItemCount(2);
  });
  auto three = insertNamed("first");
  auto second = insertNamed("second", [](VLItemAttributes& a) { a.childItemCount = 2; });
  auto third = insertNamed("third", [](VLItemAttributes& a) { a.favoriteRank = 1; });
  for (const auto& candidate : {three, second, third, three}) EXPECT_FALSE(expected->matchesEvent(candidate));
  EXPECT_EQ(expected->closestMatch()->item(), third->item());
  EXPECT_EQ(expected->closestMatch()->nonmatchingKeys(), (Keys{"trashed", "childItemCount"}));
}

TEST(ExpectedEvent, ValuesCompareAsExpected) {
  const double ten = 36000;
  auto expected = expectInsert([&](VLExpectedItem& item) { item.setLastUsedDate(VLDate(ten)); });
  auto usedAt = [&](double t) { return insertNamed("a", [&](VLItemAttributes& a) { a.lastUsedDate = VLDate(t); }); };
  EXPECT_TRUE(expected->matchesEvent(usedAt(ten + 0.9)));
  EXPECT_TRUE(expected->matchesEvent(usedAt(ten - 0.9)));
  EXPECT_FALSE(expected->matchesEvent(usedAt(ten + 1)));
  EXPECT_FALSE(expected->matchesEvent(insertNamed("a")));

  EXPECT_FALSE(vl_expectationIsEqual(VLValue(), VLValue()));  // absent expected equals nothing
  EXPECT_TRUE(vl_expectationIsEqual(VLValue(true), VLValue(1)));
  EXPECT_FALSE(vl_expectationIsEqual(VLValue(VLValue::Array{VLTag::make("a", 1)}), VLValue::Array{}));
}

TEST(ExpectedEvent, DescriptionsListSortedKeysWithExpectedValues) {
  auto insert = expectInsert([](VLExpectedItem& item) { item.setFilename("a.txt"); });
  EXPECT_EQ(insert->eventDescription(), "signal (insert), properties filename: a.txt, pending: 0");
  VLDate date(1700000000.7);
  auto any = VLExpectedEvent::eventWithType(std::nullopt, [&](VLExpectedItem& item) {
    item.setTags({VLTag::make("red", 6)});
    item.setLastUsedDate(date);
  });
  EXPECT_EQ(any->eventDescription(), "signal (any), properties lastUsedDate: " + date.description() +
                                         " (1700000000), pending: 0, tags: ( red#6 )");
  EXPECT_EQ(any->description(),
            "<VLExpectedEvent: " + any->addressDescription() + ", " + any->eventDescription() + ">");

  // A capability bit set with its top bit set prints unsigned, in descriptions and reasons.
  const uint64_t top = uint64_t(1) << 63;
  auto capable = expectInsert([&](VLExpectedItem& item) { item.setCapabilities(top | 2); });
  EXPECT_EQ(capable->eventDescription(), "signal (insert), properties capabilities: 9223372036854775810, pending: 0");
  EXPECT_FALSE(capable->matchesEvent(insertNamed("a", [&](VLItemAttributes& a) { a.capabilities = top; })));
  EXPECT_NE(capable->closestMatch()->nonmatchingReasonForExpectedEvent(*capable).find(
                "capabilities: got 9223372036854775808, but expected 9223372036854775810"),
            std::string::npos);
}

TEST(ExpectedEvent, TracesWhyACandidateWasRejected) {
  std::vector<std::string> lines;
  VLLog::setSink([&](VLLogLevel, const std::string& line) { lines.push_back(line); });
  VLLog::setDebugEnabled(true);
  auto expected = expectInsert([](VLExpectedItem& item) { item.setFilename("a"); });
  expected->matchesEvent(insertNamed("a", [](VLItemAttributes& a) { a.pending = true; }));
  expected->matchesEvent(insertNamed("b"));
  VLLog::setDebugEnabled(false);
  VLLog::setSink([](VLLogLevel, const std::string&) {});
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[1], "[DEBUG] excluding candidate up-front since it's a synthesized pending event");
  EXPECT_EQ(lines[3], "[DEBUG] doesn't match: value a doesn't match b for key filename");
}
