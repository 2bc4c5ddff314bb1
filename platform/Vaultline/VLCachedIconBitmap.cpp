#include "Vaultline/VLCachedIconBitmap.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

const char kMark[8] = {'V', 'L', 'I', 'C', 'N', 'B', 'M', 'P'};
constexpr size_t kHeaderLength = sizeof kMark + 8;

void appendLittleEndian(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

uint32_t readLittleEndian(const uint8_t* bytes) {
  return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
}

}  // namespace

VLData VLCachedIconBitmap::encode(const VLBitmap& bitmap) {
  if (bitmap.width() > kMaximumSide || bitmap.height() > kMaximumSide) return VLData();
  std::vector<uint8_t> out(kMark, kMark + sizeof kMark);
  appendLittleEndian(out, static_cast<uint32_t>(bitmap.width()));
  appendLittleEndian(out, static_cast<uint32_t>(bitmap.height()));
  out.insert(out.end(), bitmap.pixels().begin(), bitmap.pixels().end());
  return VLData(std::move(out));
}

std::optional<VLBitmap> VLCachedIconBitmap::decode(const VLData& data) {
  if (data.length() < kHeaderLength || std::memcmp(data.bytes(), kMark, sizeof kMark) != 0) return std::nullopt;
  uint32_t width = readLittleEndian(data.bytes() + sizeof kMark);
  uint32_t height = readLittleEndian(data.bytes() + sizeof kMark + 4);
  if (width == 0 || height == 0 || width > kMaximumSide || height > kMaximumSide) return std::nullopt;
  if (data.length() - kHeaderLength != static_cast<size_t>(width) * height * 4) return std::nullopt;
  VLBitmap bitmap(static_cast<int>(width), static_cast<int>(height));
  std::copy_n(data.bytes() + kHeaderLength, bitmap.pixels().size(), bitmap.mutablePixels().begin());
  return bitmap;
}
