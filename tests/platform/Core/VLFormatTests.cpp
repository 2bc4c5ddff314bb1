#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <optional>
#include <stdexcept>

#include "Core/VLError.h"
#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Core/VLURL.h"

namespace {

class Named : public VLObject {
 public:
  explicit Named(std::string name) : name_(std::move(name)) {}
  std::string description() const override { return "<Named " + name_ + ">"; }

 private:
  std::string name_;
};

std::string cFormat(const char* format, auto... args) {
  char buffer[256];
  std::snprintf(buffer, sizeof buffer, format, args...);
  return buffer;
}

TEST(VLFormat, ObjectConversionPrintsDescriptions) {
  std::shared_ptr<const VLObject> none;
  std::shared_ptr<VLError> noError;
  auto object = std::make_shared<Named>("x");
  std::weak_ptr<Named> weak = object;

  EXPECT_EQ(VLFormat("%@|%@", std::string("text"), "literal"), "text|literal");
  EXPECT_EQ(VLFormat("%@ %@ %@ %@", 42, -7L, 2.5, 10u), "42 -7 2.5 10");
  EXPECT_EQ(VLFormat("%@ %@", true, false), "1 0");
  EXPECT_EQ(VLFormat("%@ %@", object, weak), "<Named x> <Named x>");
  EXPECT_EQ(VLFormat("%@ %@ %@ %@", none, noError, nullptr, std::optional<int>()), "(null) (null) (null) (null)");
  EXPECT_EQ(VLFormat("%@", VLError::makeWithDescription("D", 3, "it broke")), "Error Domain=D Code=3 \"it broke\"");
  EXPECT_EQ(VLFormat("%@", VLException("bad input")), "bad input");
  EXPECT_EQ(VLFormat("%@", VLURL::fileURLWithPath("/tmp/a b", true)), "file:///tmp/a%20b/");
  EXPECT_EQ(VLFormat("%@", std::optional<std::string>("opt")), "opt");
}

TEST(VLFormat, ObjectConversionPrintsValues) {
  EXPECT_EQ(VLFormat("%@", VLValue()), "(null)");
  EXPECT_EQ(VLFormat("%@ %@ %@", VLValue(true), VLValue(12), VLValue(0.5)), "1 12 0.5");
  EXPECT_EQ(VLFormat("%@", VLValue(VLValue::Array{1, "two", VLValue()})), "(1, two, (null))");
  EXPECT_EQ(VLFormat("%@", VLValue::Dictionary{{"a", 1}, {"b", "x"}}), "{a = 1; b = x;}");
  EXPECT_EQ(VLFormat("%@", VLValue(std::make_shared<Named>("v"))), "<Named v>");
  // A VLValue still formats numerically where the conversion asks for a number.
  EXPECT_EQ(VLFormat("%d %.1f %s", VLValue(true), VLValue(2), VLValue("s")), "1 2.0 s");
}

TEST(VLFormat, NumericConversionsMatchPrintf) {
  EXPECT_EQ(VLFormat("%d %i %ld %lu %lld %llu %u", -1, 2, -3L, 4UL, -5LL, 6ULL, 7u), "-1 2 -3 4 -5 6 7");
  EXPECT_EQ(VLFormat("%d %lld %llu", INT_MIN, LLONG_MIN, ULLONG_MAX),
            cFormat("%d %lld %llu", INT_MIN, LLONG_MIN, ULLONG_MAX));
  EXPECT_EQ(VLFormat("%g %g %g %f %.01f", 5.0, 0.1, 1e20, 1.5, 42.45),
            cFormat("%g %g %g %f %.01f", 5.0, 0.1, 1e20, 1.5, 42.45));
  EXPECT_EQ(VLFormat("%.01f%% ", 0.425 * 100.0), "42.5% ");
  EXPECT_EQ(VLFormat("%g", 15), "15");  // integers for floating conversions are converted
  EXPECT_EQ(VLFormat("%x %X %o %c", 255, 255u, 8, 'A'), "ff FF 10 A");
  // Negative ints through unsigned conversions read as printf reads them: as the int's bits.
  EXPECT_EQ(VLFormat("%u %x %lx", -1, -1, -1L), cFormat("%u %x %lx", -1, -1, -1L));
  EXPECT_EQ(VLFormat("%s|%s", "plain", std::string("std")), "plain|std");
  const char* nothing = nullptr;
  EXPECT_EQ(VLFormat("%s", nothing), "(null)");
  int local = 0;
  EXPECT_EQ(VLFormat("%p", &local), cFormat("%p", static_cast<void*>(&local)));
  EXPECT_EQ(VLFormat("100%% of %d%%", 3), "100% of 3%");
}

TEST(VLFormat, WidthPrecisionAndStar) {
  EXPECT_EQ(VLFormat("[%5d][%-5d][%05d][%+d][%.3d]", 42, 42, 42, 42, 7), "[   42][42   ][00042][+42][007]");
  EXPECT_EQ(VLFormat("[%8.3f][%-8.2e]", 3.14159, 31.4159), cFormat("[%8.3f][%-8.2e]", 3.14159, 31.4159));
  EXPECT_EQ(VLFormat("[%6@][%-6@][%.2@]", std::string("ab"), 12, "xyz"), "[    ab][12    ][xy]");
  EXPECT_EQ(VLFormat("[%*d][%-*d][%.*f][%.*s]", 4, 1, 3, 2, 2, 1.0, 1, "yes"), "[   1][2  ][1.00][y]");
  // A negative '*' width means left-aligned; a negative '*' precision means none.
  EXPECT_EQ(VLFormat("[%*d][%.*f]", -4, 1, -1, 0.5), cFormat("[%*d][%.*f]", -4, 1, -1, 0.5));
  // Flags that printf leaves undefined for strings and characters are not passed on.
  EXPECT_EQ(VLFormat("[%05s][%03c]", "ab", 'z'), "[   ab][  z]");
}

TEST(VLFormat, BadArgumentsPrintVisiblePlaceholders) {
  EXPECT_EQ(VLFormat("a %d b"), "a <missing argument for %d> b");
  EXPECT_EQ(VLFormat("%@ and %@", 1), "1 and <missing argument for %@>");
  EXPECT_EQ(VLFormat("%*d", 5), "<missing argument for %*d>");
  EXPECT_EQ(VLFormat("%d|%s|%p", "text", 5, 1.5), "<string given for %d>|<integer given for %s>|<double given for %p>");
  EXPECT_EQ(VLFormat("%f", "x"), "<string given for %f>");
  // A non-integer '*' argument is reported, and the conversion's own argument is used up with it.
  EXPECT_EQ(VLFormat("%*d|%d", "w", 1, 2), "<string given for * in %*d>|2");
  // Unknown conversions, %n and a dangling '%' stay visible and take no argument.
  EXPECT_EQ(VLFormat("%k %n %d %", 9), "%k %n 9 %");
  EXPECT_EQ(VLFormat(nullptr, 1), "");
  EXPECT_EQ(VLFormat("extra %d", 1, 2, 3), "extra 1");
}

}  // namespace
