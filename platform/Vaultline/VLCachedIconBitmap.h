// VLCachedIconBitmap: the icon library's cached-bitmap format, one of the forms in which a
// provider may hand out a thumbnail (VLThumbnailFormatCachedIconBitmap): the 8 bytes
// "VLICNBMP", the width and the height as 32-bit little-endian numbers, then the pixels,
// RGBA with alpha premultiplied, 8 bits per component, rows from top to bottom.
//
// The data comes from a provider, so decoding trusts nothing in it. Stateless; safe from
// any thread.
#pragma once

#include <optional>

#include "Core/VLData.h"
#include "Vaultline/VLBitmap.h"

class VLCachedIconBitmap {
 public:
  // The largest width or height the format holds.
  static constexpr int kMaximumSide = 4096;

  // Encodes `bitmap` (whose sides must not exceed kMaximumSide; larger ones are refused
  // with empty data).
  static VLData encode(const VLBitmap& bitmap);
  // Decodes `data`; none when it does not begin with the format's mark, a side is 0 or
  // above kMaximumSide, or the pixel bytes are not exactly width × height × 4.
  static std::optional<VLBitmap> decode(const VLData& data);
};
