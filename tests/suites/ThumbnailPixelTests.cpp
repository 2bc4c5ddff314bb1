// The file type suite's thumbnail check against hand-made thumbnails: a picture the right
// way up passes both pixel checks in every format, encoding and size, one upside down fails
// both, and data that is no picture cannot be sampled (the case then says so).
#include <gtest/gtest.h>

#include "Vaultline/VLCachedIconBitmap.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLImageCodec.h"
#include "suites/VLFileTypeValidation.h"

namespace {

// Red lower half, green upper half, like the suite's test picture.
VLBitmap picture(int width, int height, bool upsideDown) {
  VLBitmap bitmap(width, height);
  bitmap.fillRect(0, 0, width, height / 2.0, 1, 0, 0, 1);
  bitmap.fillRect(0, height / 2.0, width, height / 2.0, 0, 1, 0, 1);
  return upsideDown ? bitmap.flippedVertically() : bitmap;
}

enum class Encoding { IconLayout, PNG, JPEG };

VLData encoded(const VLBitmap& bitmap, Encoding encoding) {
  switch (encoding) {
    case Encoding::IconLayout: return VLCachedIconBitmap::encode(bitmap);
    case Encoding::PNG: return VLImageCodec::encodePNG(bitmap);
    case Encoding::JPEG: return VLImageCodec::encodeJPEG(bitmap);
  }
  return VLData();
}

TEST(ThumbnailPixels, RightWayUpPassesBothChecksAndUpsideDownFailsBoth) {
  // Every encoding a format may carry; another format is judged as it came.
  const std::vector<std::pair<std::string, Encoding>> forms = {
      {VLThumbnailFormatUndecorated, Encoding::PNG},
      {VLThumbnailFormatUndecorated, Encoding::JPEG},
      {VLThumbnailFormatCachedIconBitmap, Encoding::IconLayout},
      {VLThumbnailFormatCachedIconBitmap, Encoding::PNG},
      {VLThumbnailFormatCachedIconBitmap, Encoding::JPEG},
      {"x", Encoding::JPEG},
  };
  for (const auto& [format, encoding] : forms) {
    for (auto [width, height] : {std::pair{50, 50}, {128, 128}, {24, 90}}) {
      for (bool upsideDown : {false, true}) {
        SCOPED_TRACE(format + " encoding " + std::to_string(int(encoding)) + " " + std::to_string(width) + "x" +
                     std::to_string(height) + (upsideDown ? " upside down" : ""));
        auto image =
            VLFileTypeValidation::imageDataForThumbnail(encoded(picture(width, height, upsideDown), encoding), format);
        ASSERT_TRUE(image);
        auto pixels = VLFileTypeValidation::sampleThumbnailPixels(*image);
        ASSERT_TRUE(pixels);
        EXPECT_EQ(pixels->greenInTopHalf, !upsideDown);
        EXPECT_EQ(pixels->redInBottomHalf, !upsideDown);
      }
    }
  }
  auto own = VLFileTypeValidation::sampleThumbnailPixels(VLFileTypeValidation::jpegData());
  ASSERT_TRUE(own);
  EXPECT_TRUE(own->greenInTopHalf && own->redInBottomHalf);

  VLBitmap green(50, 50);
  green.fillRect(0, 0, 50, 50, 0, 1, 0, 1);
  auto oneColor = VLFileTypeValidation::sampleThumbnailPixels(VLImageCodec::encodePNG(green));
  ASSERT_TRUE(oneColor);
  EXPECT_TRUE(oneColor->greenInTopHalf);
  EXPECT_FALSE(oneColor->redInBottomHalf);
}

TEST(ThumbnailPixels, DataThatIsNoPictureCannotBeSampled) {
  const VLData garbage = VLData::fromString("not a picture at all");
  EXPECT_FALSE(VLFileTypeValidation::imageDataForThumbnail(garbage, VLThumbnailFormatUndecorated));
  EXPECT_FALSE(VLFileTypeValidation::imageDataForThumbnail(garbage, VLThumbnailFormatCachedIconBitmap));
  EXPECT_EQ(VLFileTypeValidation::imageDataForThumbnail(garbage, "x"), garbage);
  EXPECT_FALSE(VLFileTypeValidation::sampleThumbnailPixels(garbage));

  // Cached icon bitmaps whose header and pixels disagree, or whose sides are absurd.
  std::vector<uint8_t> icon = VLCachedIconBitmap::encode(picture(4, 4, false)).vector();
  std::vector<uint8_t> truncated(icon.begin(), icon.end() - 1);
  std::vector<uint8_t> huge(icon.begin(), icon.begin() + 16);
  std::fill(huge.begin() + 8, huge.end(), 0xFF);
  std::vector<uint8_t> empty(icon.begin(), icon.begin() + 16);
  std::fill(empty.begin() + 8, empty.end(), 0);
  for (const auto& bytes : {truncated, huge, empty, std::vector<uint8_t>(icon.begin(), icon.begin() + 10)}) {
    EXPECT_FALSE(VLFileTypeValidation::imageDataForThumbnail(VLData(bytes), VLThumbnailFormatCachedIconBitmap));
  }
}

}  // namespace
