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
