// VLImageCodec: JPEG and PNG encoding and decoding of VLBitmaps. Stateless and safe from
// any thread.
#pragma once

#include <optional>
#include <string>

#include "Core/VLData.h"
#include "Vaultline/VLBitmap.h"

class VLImageCodec {
 public:
  // The largest image decode() accepts: no side above kMaximumSide pixels and no more than
  // kMaximumPixels in all (64 MiB of RGBA). Thumbnails and the sample pictures are far
  // smaller; the bound keeps an image whose header claims more from costing more memory
  // than that, since its size is read before any pixel is allocated.
  static constexpr int kMaximumSide = 16384;
  static constexpr long kMaximumPixels = 4096L * 4096L;
  // Returns whether an image of width × height pixels is within the bound above (and not empty).
  static bool fitsDecodingBound(long width, long height);

  // Encodes a single-frame JPEG (alpha is dropped).
  static VLData encodeJPEG(const VLBitmap& bitmap, int quality = 90);
  // Encodes an RGBA PNG.
  static VLData encodePNG(const VLBitmap& bitmap);
  // Decodes JPEG or PNG data (told apart by their signatures); none for anything else, for
  // damaged data, and at once, before any pixel is allocated, for an image beyond the bound.
  static std::optional<VLBitmap> decode(const VLData& data);
  // Returns "public.jpeg" or "public.png" by the data's signature, or none.
  static std::optional<std::string> typeIdentifierOfData(const VLData& data);
};
