// Outside texts are kept cut to a bound, on a character boundary, saying how much went; an
// error keeps its shape (code, domain, underlying errors) while its texts are cut.
#include <gtest/gtest.h>

#include <string>

#include "Core/VLError.h"
#include "Core/VLText.h"

namespace {

// Whether `text` is well-formed UTF-8 (no split or stray sequences).
bool isUTF8(const std::string& text) {
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const size_t length = lead < 0x80 ? 1 : (lead >> 5) == 6 ? 2 : (lead >> 4) == 14 ? 3 : (lead >> 3) == 30 ? 4 : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

TEST(VLBoundedText, CutsOnACharacterBoundaryAndSaysHowMuch) {
  struct Row {
    std::string text;
    size_t limit;
    std::string kept;  // what comes before the note; the whole text when nothing is cut
  };
  const std::string euro = "\u20ac";  // three bytes
  const Row rows[] = {
      {"short", 8, "short"},
      {"exactly8", 8, "exactly8"},
      {"123456789", 8, "12345678"},
      {"1234567" + euro, 8, "1234567"},  // the euro sign would be split: it goes whole
      {"123456" + euro, 8, "123456"},
      {"12345" + euro + "x", 8, "12345" + euro},
      {"\xff\xfe\xfd\xfc\xfb\xfa\xf9\xf8\xf7", 4, "\xff\xfe\xfd\xfc"},  // not UTF-8: cut at the limit
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const std::string bounded = vl_boundedText(row.text, row.limit);
    if (row.kept == row.text) {
      EXPECT_EQ(bounded, row.text);
      continue;
    }
    EXPECT_EQ(bounded, row.kept + " \u2026 [" + std::to_string(row.text.size() - row.kept.size()) + " bytes cut]");
    if (isUTF8(row.text)) {
      EXPECT_TRUE(isUTF8(bounded));
    }
  }
  const std::string cut = vl_boundedText(std::string(16'000'000, 'x'));
  EXPECT_EQ(cut, std::string(kVLKeptTextLimit, 'x') + " \u2026 [15934464 bytes cut]");
  // Quoted in a longer text and cut again: one note, counting everything that is missing.
  const std::string requoted = vl_boundedText("Failed: " + cut);
  EXPECT_EQ(requoted, "Failed: " + std::string(kVLKeptTextLimit - 8, 'x') + " \u2026 [15934472 bytes cut]");
  EXPECT_EQ(vl_boundedText(requoted), requoted);
}

TEST(VLBoundedText, ErrorsKeepTheirShapeWithTheirTextsCut) {
  const std::string huge(200'000, 'e');
  auto small = VLError::makeWithDescription("Domain", 7, "fine");
  EXPECT_EQ(VLError::bounded(small), small) << "an error that fits is kept, not copied";

  auto inner = VLError::make("Inner", 2, {{VLLocalizedDescriptionKey, huge}, {"list", VLValue::Array{huge, 3}}});
  auto outer = VLError::make("Outer", 1, {{VLLocalizedDescriptionKey, "outer"}, {VLUnderlyingErrorKey, inner}});
  auto bounded = VLError::bounded(outer);
  ASSERT_NE(bounded, outer);
  EXPECT_EQ(VLError::bounded(bounded), bounded) << "cut once is cut enough";
  EXPECT_EQ(bounded->domain(), "Outer");
  EXPECT_EQ(bounded->code(), 1);
  EXPECT_EQ(bounded->localizedDescription(), "outer");
  auto underlying = bounded->underlyingError();
  ASSERT_TRUE(underlying);
  EXPECT_EQ(underlying->code(), 2);
  EXPECT_EQ(underlying->localizedDescription(), vl_boundedText(huge));
  EXPECT_EQ(*underlying->userInfo().at("list").array()->at(0).string(), vl_boundedText(huge));
  EXPECT_EQ(underlying->userInfo().at("list").array()->at(1).integerValue(), 3);
}

}  // namespace
