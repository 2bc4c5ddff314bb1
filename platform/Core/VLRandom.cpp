#include "Core/VLRandom.h"

#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "Core/VLException.h"

void vl_randomBytes(void* buffer, size_t length) {
  auto* out = static_cast<uint8_t*>(buffer);
  while (length > 0) {
    ssize_t got = getrandom(out, length, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      throw VLException(std::string("system random source failed: ") + std::strerror(errno));
    }
    out += got;
    length -= static_cast<size_t>(got);
  }
}

std::string vl_UUIDString() {
  uint8_t bytes[16];
  vl_randomBytes(bytes, sizeof bytes);
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  static const char* const digits = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < sizeof bytes; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 0x0F];
  }
  return text;
}
