// Fuzzes the decoders of the pictures a provider hands out as thumbnails (PNG, JPEG and the
// cached-icon layout): any bytes either decode into a bitmap within the decoding bound, whose
// pixel buffer matches its size, or are refused; nothing may crash, hang or grow past the bound.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "Vaultline/VLCachedIconBitmap.h"
#include "Vaultline/VLImageCodec.h"

namespace {

void checkDecoded(const std::optional<VLBitmap>& bitmap) {
  if (!bitmap) return;
  if (!VLImageCodec::fitsDecodingBound(bitmap->width(), bitmap->height())) std::abort();
  if (bitmap->pixels().size() != static_cast<size_t>(bitmap->width()) * bitmap->height() * 4) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const VLData bytes(data, size);
  checkDecoded(VLImageCodec::decode(bytes));
  checkDecoded(VLCachedIconBitmap::decode(bytes));
  return 0;
}
