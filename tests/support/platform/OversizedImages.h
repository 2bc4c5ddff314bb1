// Small valid pictures whose headers are then rewritten to claim another size, the way a
// hostile provider would send them: a few hundred bytes that promise billions of pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "Vaultline/VLBitmap.h"
#include "Vaultline/VLImageCodec.h"

namespace support {

// Returns the bytes of a small PNG (or JPEG) whose header says width × height.
inline std::vector<uint8_t> pictureClaiming(bool png, uint32_t width, uint32_t height) {
  VLBitmap picture(16, 16);
  picture.fillRect(0, 0, 16, 8, 1, 0, 0, 1);
  VLData data = png ? VLImageCodec::encodePNG(picture) : VLImageCodec::encodeJPEG(picture);
  std::vector<uint8_t> bytes(data.bytes(), data.bytes() + data.length());
  auto put = [&](size_t at, uint32_t value, int length) {
    for (int i = 0; i < length; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (8 * (length - 1 - i)));
  };
  if (png) {
    // IHDR's data starts at 16; its CRC (over type and data) at 29, so it still checks.
    put(16, width, 4);
    put(20, height, 4);
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 12; i < 29; ++i) {
      crc ^= bytes[i];
      for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    put(29, ~crc, 4);
  } else {
    // The frame header (SOF0..SOF2): length, precision, then height and width, 16 bits each.
    for (size_t i = 2; i + 9 < bytes.size(); ++i) {
      if (bytes[i] == 0xFF && bytes[i + 1] >= 0xC0 && bytes[i + 1] <= 0xC2) {
        put(i + 5, height, 2);
        put(i + 7, width, 2);
        break;
      }
    }
  }
  return bytes;
}

}  // namespace support
