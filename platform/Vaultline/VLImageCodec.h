// VLImageCodec: JPEG and PNG encoding and decoding of VLBitmaps. Stateless and safe from
// any thread.
#pragma once

#include <optional>
#include <string>

#include "Core/VLData.h"
#include "Vaultline/VLBitmap.h"

class VLImageCodec {
 public:
  // Encodes a single-frame JPEG (alpha is dropped).
  static VLData encodeJPEG(const VLBitmap& bitmap, int quality = 90);
  // Encodes an RGBA PNG.
  static VLData encodePNG(const VLBitmap& bitmap);
  // Decodes JPEG or PNG data (told apart by their signatures); none for anything else or
  // for damaged data.
  static std::optional<VLBitmap> decode(const VLData& data);
  // Returns "public.jpeg" or "public.png" by the data's signature, or none.
  static std::optional<std::string> typeIdentifierOfData(const VLData& data);
};
