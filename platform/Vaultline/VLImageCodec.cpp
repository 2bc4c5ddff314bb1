#include "Vaultline/VLImageCodec.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <jpeglib.h>
#include <png.h>

namespace {

// libjpeg reports fatal errors through error_exit, which must not return: jump back out.
struct JPEGErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf jump;
};

void jpegErrorExit(j_common_ptr info) {
  auto* manager = reinterpret_cast<JPEGErrorManager*>(info->err);
  std::longjmp(manager->jump, 1);
}

void jpegSilence(j_common_ptr, int) {}

// Encodes RGBA rows (alpha ignored) into a malloc'd buffer. Only trivially destructible
// locals live between setjmp and the jumps, so the jump skips no destructor.
bool encodeJPEGRows(const uint8_t* rgba, int width, int height, int quality, unsigned char** out,
                    unsigned long* outLength) {
  jpeg_compress_struct info;
  JPEGErrorManager errors;
  info.err = jpeg_std_error(&errors.base);
  errors.base.error_exit = jpegErrorExit;
  errors.base.emit_message = jpegSilence;
  if (setjmp(errors.jump)) {
    jpeg_destroy_compress(&info);
    return false;
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, out, outLength);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = 4;
  info.in_color_space = JCS_EXT_RGBA;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(rgba + static_cast<size_t>(info.next_scanline) * width * 4);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  return true;
}

// Reads the JPEG header and, when `pixels` is given, the RGBA pixels (it must hold
// width × height × 4 bytes).
bool decodeJPEGRows(const VLData& data, int* width, int* height, uint8_t* pixels) {
  jpeg_decompress_struct info;
  JPEGErrorManager errors;
  info.err = jpeg_std_error(&errors.base);
  errors.base.error_exit = jpegErrorExit;
  errors.base.emit_message = jpegSilence;
  if (setjmp(errors.jump)) {
    jpeg_destroy_decompress(&info);
    return false;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, data.bytes(), static_cast<unsigned long>(data.length()));
  jpeg_read_header(&info, TRUE);
  info.out_color_space = JCS_EXT_RGBA;
  *width = static_cast<int>(info.image_width);
  *height = static_cast<int>(info.image_height);
  if (!pixels) {
    jpeg_destroy_decompress(&info);
    return true;
  }
  jpeg_start_decompress(&info);
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = pixels + static_cast<size_t>(info.output_scanline) * info.output_width * 4;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return true;
}

bool hasPrefix(const VLData& data, const unsigned char* prefix, size_t length) {
  return data.length() >= length && std::memcmp(data.bytes(), prefix, length) == 0;
}

const unsigned char kJPEGSignature[] = {0xFF, 0xD8, 0xFF};
const unsigned char kPNGSignature[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};

// Bitmaps keep alpha premultiplied; PNG stores it straight.
uint8_t unpremultiply(uint8_t component, uint8_t alpha) {
  if (alpha == 0) return 0;
  return static_cast<uint8_t>(std::min(255, (component * 255 + alpha / 2) / alpha));
}

}  // namespace

VLData VLImageCodec::encodeJPEG(const VLBitmap& bitmap, int quality) {
  unsigned char* buffer = nullptr;
  unsigned long length = 0;
  bool ok = encodeJPEGRows(bitmap.pixels().data(), bitmap.width(), bitmap.height(), quality, &buffer, &length);
  VLData data = ok ? VLData(buffer, length) : VLData();
  std::free(buffer);
  return data;
}

VLData VLImageCodec::encodePNG(const VLBitmap& bitmap) {
  std::vector<uint8_t> straight(bitmap.pixels());
  for (size_t i = 0; i < straight.size(); i += 4) {
    for (int c = 0; c < 3; ++c) straight[i + c] = unpremultiply(straight[i + c], straight[i + 3]);
  }
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(bitmap.width());
  image.height = static_cast<png_uint_32>(bitmap.height());
  image.format = PNG_FORMAT_RGBA;
  png_alloc_size_t length = 0;
  if (!png_image_write_to_memory(&image, nullptr, &length, 0, straight.data(), 0, nullptr)) return VLData();
  std::vector<uint8_t> out(length);
  if (!png_image_write_to_memory(&image, out.data(), &length, 0, straight.data(), 0, nullptr)) return VLData();
  out.resize(length);
  return VLData(std::move(out));
}

bool VLImageCodec::fitsDecodingBound(long width, long height) {
  return width > 0 && height > 0 && width <= kMaximumSide && height <= kMaximumSide && width * height <= kMaximumPixels;
}

std::optional<VLBitmap> VLImageCodec::decode(const VLData& data) {
  auto type = typeIdentifierOfData(data);
  if (!type) return std::nullopt;
  if (*type == "public.jpeg") {
    int width = 0, height = 0;
    if (!decodeJPEGRows(data, &width, &height, nullptr) || !fitsDecodingBound(width, height)) return std::nullopt;
    VLBitmap bitmap(width, height);
    if (!decodeJPEGRows(data, &width, &height, bitmap.mutablePixels().data())) return std::nullopt;
    return bitmap;
  }
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, data.bytes(), data.length())) return std::nullopt;
  image.format = PNG_FORMAT_RGBA;
  if (!fitsDecodingBound(image.width, image.height)) {
    png_image_free(&image);
    return std::nullopt;
  }
  VLBitmap bitmap(static_cast<int>(image.width), static_cast<int>(image.height));
  if (!png_image_finish_read(&image, nullptr, bitmap.mutablePixels().data(), 0, nullptr)) {
    png_image_free(&image);
    return std::nullopt;
  }
  auto& pixels = bitmap.mutablePixels();
  for (size_t i = 0; i < pixels.size(); i += 4) {
    for (int c = 0; c < 3; ++c) pixels[i + c] = static_cast<uint8_t>((pixels[i + c] * pixels[i + 3] + 127) / 255);
  }
  return bitmap;
}

std::optional<std::string> VLImageCodec::typeIdentifierOfData(const VLData& data) {
  if (hasPrefix(data, kJPEGSignature, sizeof kJPEGSignature)) return std::string("public.jpeg");
  if (hasPrefix(data, kPNGSignature, sizeof kPNGSignature)) return std::string("public.png");
  return std::nullopt;
}
