// A picture whose header claims more pixels than the decoding bound is refused from its
// header alone, before its pixels cost memory, in every form a thumbnail may take.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <vector>

#include "Vaultline/VLCachedIconBitmap.h"
#include "Vaultline/VLImageCodec.h"
#include "support/OversizedImages.h"

namespace {

long peakKilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

struct Claim {
  uint32_t width, height;
  bool decodes;
};

TEST(VLImageBound, HeadersBeyondTheBoundAreRefusedBeforeDecoding) {
  const long before = peakKilobytes();
  const Claim claims[] = {
      {16, 16, true},         // as encoded
      {50000, 50000, false},  // 10 GB of pixels
      {65535, 1, false},      // one side too long
      {4097, 4096, false},    // just over the pixel count
  };
  for (bool png : {true, false}) {
    for (const auto& claim : claims) {
      SCOPED_TRACE(std::string(png ? "PNG " : "JPEG ") + std::to_string(claim.width) + "x" + std::to_string(claim.height));
      auto bytes = support::pictureClaiming(png, claim.width, claim.height);
      auto decoded = VLImageCodec::decode(VLData(bytes.data(), bytes.size()));
      ASSERT_EQ(decoded.has_value(), claim.decodes);
      if (decoded) {
        EXPECT_EQ(decoded->width(), 16);
      }
    }
  }
  // The cached-icon layout states its size up front too: a claim its bytes cannot back is refused.
  std::vector<uint8_t> icon = {'V', 'L', 'I', 'C', 'N', 'B', 'M', 'P', 0x50, 0xC3, 0, 0, 0x50, 0xC3, 0, 0, 1, 2, 3, 4};
  EXPECT_FALSE(VLCachedIconBitmap::decode(VLData(icon.data(), icon.size())));
  // Refused before allocating: none of the above grew the process by the pixels it claimed.
  EXPECT_LT(peakKilobytes() - before, 200 * 1024);
}

}  // namespace
