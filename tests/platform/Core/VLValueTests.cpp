#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>

#include "Core/VLData.h"
#include "Core/VLDate.h"
#include "Core/VLError.h"
#include "Core/VLFormat.h"
#include "Core/VLRandom.h"
#include "Core/VLValue.h"

namespace {

// Equal to any other Tagged with the same tag, whatever the instance.
class Tagged : public VLObject {
 public:
  explicit Tagged(int tag) : tag_(tag) {}
  bool isEqual(const VLObject& other) const override {
    auto tagged = dynamic_cast<const Tagged*>(&other);
    return tagged && tagged->tag_ == tag_;
  }

 private:
  int tag_;
};

TEST(VLValue, NumbersCompareByValueAcrossKinds) {
  EXPECT_EQ(VLValue(true), VLValue(1));
  EXPECT_EQ(VLValue(false), VLValue(0.0));
  EXPECT_EQ(VLValue(3), VLValue(3.0));
  EXPECT_EQ(VLValue(uint8_t(7)), VLValue(7LL));
  EXPECT_NE(VLValue(true), VLValue(2));
  EXPECT_NE(VLValue(3), VLValue(3.5));
  // Large integers compare exactly, not through a lossy double.
  EXPECT_NE(VLValue(INT64_C(9007199254740993)), VLValue(INT64_C(9007199254740992)));
  EXPECT_NE(VLValue(1), VLValue("1"));
  EXPECT_NE(VLValue(0), VLValue());
  EXPECT_EQ(VLValue(std::shared_ptr<Tagged>()), VLValue());  // a null object is none
  EXPECT_NE(VLValue(NAN), VLValue(NAN));
  // Doubles beyond int64 saturate rather than being undefined.
  EXPECT_EQ(VLValue(1e30).integerValue(), INT64_MAX);
  EXPECT_EQ(VLValue(-1e30).integerValue(), INT64_MIN);
  EXPECT_EQ(VLValue(NAN).integerValue(), 0);
  // Unsigned integers keep their sign: a bit set with its top bit set is not negative.
  EXPECT_EQ(VLValue(UINT64_MAX).description(), "18446744073709551615");
  EXPECT_EQ(VLFormat("%@ %u %d", VLValue(UINT64_C(1) << 63), VLValue(UINT64_MAX), VLValue(7u)),
            "9223372036854775808 18446744073709551615 7");
  EXPECT_NE(VLValue(UINT64_MAX), VLValue(-1));
  EXPECT_EQ(VLValue(uint64_t(5)), VLValue(5));
  EXPECT_EQ(VLValue(UINT64_MAX).integerValue(), INT64_MAX);
}

TEST(VLValue, ContainersCompareElementWise) {
  VLValue::Array numbers{1, 2.0, true};
  EXPECT_EQ(VLValue(numbers), VLValue(VLValue::Array{1.0, 2, 1}));
  EXPECT_NE(VLValue(numbers), VLValue(VLValue::Array{1, 2}));
  EXPECT_NE(VLValue(numbers), VLValue(VLValue::Array{2, 1, true}));

  VLValue::Dictionary a{{"n", 1}, {"list", VLValue::Array{"x", VLValue::Dictionary{{"deep", true}}}}};
  VLValue::Dictionary b{{"list", VLValue::Array{"x", VLValue::Dictionary{{"deep", 1}}}}, {"n", 1.0}};
  EXPECT_EQ(VLValue(a), VLValue(b));
  b["n"] = 2;
  EXPECT_NE(VLValue(a), VLValue(b));
  EXPECT_NE(VLValue(VLValue::Dictionary{{"k", 1}}), VLValue(VLValue::Dictionary{{"other", 1}}));
}

TEST(VLValue, ObjectsDatesAndDataCompareByContent) {
  EXPECT_EQ(VLValue(std::make_shared<Tagged>(1)), VLValue(std::make_shared<Tagged>(1)));
  EXPECT_NE(VLValue(std::make_shared<Tagged>(1)), VLValue(std::make_shared<Tagged>(2)));
  // The default isEqual is identity.
  auto plain = std::make_shared<VLObject>();
  EXPECT_EQ(VLValue(plain), VLValue(plain));
  EXPECT_NE(VLValue(plain), VLValue(std::make_shared<VLObject>()));
  EXPECT_TRUE(VLError::make("D", 1, {{"k", 1}})->isEqual(*VLError::make("D", 1, {{"k", true}})));
  EXPECT_FALSE(VLError::make("D", 1)->isEqual(*VLError::make("D", 2)));

  EXPECT_EQ(VLValue(VLDate(100)), VLValue(VLDate(100)));
  EXPECT_NE(VLValue(VLDate(100)), VLValue(VLDate(100.5)));
  EXPECT_EQ(VLValue(VLData::fromString("abc")), VLValue(VLData("abc", 3)));
  EXPECT_NE(VLValue(VLData::fromString("abc")), VLValue(VLData::fromString("abd")));
}

TEST(VLDate, DescriptionIsUtcWholeSeconds) {
  // 2026-11-21 10:00:00 UTC
  EXPECT_EQ(VLDate(1795255200).description(), "2026-11-21 10:00:00 +0000");
  EXPECT_EQ(VLDate(1795255200.999).description(), "2026-11-21 10:00:00 +0000");
  EXPECT_EQ(VLDate(-0.5).description(), "1969-12-31 23:59:59 +0000");
  EXPECT_EQ(VLDate::dateWithTimeIntervalSinceReferenceDate(0).description(), "2001-01-01 00:00:00 +0000");
  EXPECT_EQ(VLDate(NAN).description().rfind("<invalid date", 0), 0u);
  EXPECT_EQ(VLDate(1e300).description().rfind("<invalid date", 0), 0u);
}

TEST(VLError, LocalizedDescriptionFallsBackToDomainAndCode) {
  auto plain = VLError::make("SomeDomain", -1001);
  EXPECT_EQ(plain->localizedDescription(), "The operation couldn't be completed. (SomeDomain error -1001.)");
  // A description of the wrong kind does not count.
  EXPECT_EQ(VLError::make("D", 2, {{VLLocalizedDescriptionKey, 5}})->localizedDescription(),
            "The operation couldn't be completed. (D error 2.)");
  auto described = VLError::makeWithDescription("D", 1, "Server unreachable");
  EXPECT_EQ(described->localizedDescription(), "Server unreachable");

  EXPECT_EQ(plain->underlyingError(), nullptr);
  auto wrapped = VLError::make("Outer", 9, {{VLUnderlyingErrorKey, described}});
  ASSERT_NE(wrapped->underlyingError(), nullptr);
  EXPECT_EQ(wrapped->underlyingError()->code(), 1);
}

TEST(VLRandom, FillsEveryByteAndDiffersBetweenCalls) {
  vl_randomBytes(nullptr, 0);
  // Each of the 64 bytes stays zero by chance with probability 1/256; all draws agreeing
  // or a byte staying zero in all four would be a fill that misses its tail.
  std::array<std::array<uint8_t, 64>, 4> draws{};
  for (auto& draw : draws) vl_randomBytes(draw.data(), draw.size());
  EXPECT_NE(draws[0], draws[1]);
  for (size_t i = 0; i < 64; ++i) {
    bool touched = false;
    for (const auto& draw : draws) touched |= draw[i] != 0;
    EXPECT_TRUE(touched) << "byte " << i;
  }
}

}  // namespace
