#include "Core/VLData.h"

#include <cstdio>

VLData::VLData() : bytes_(std::make_shared<const std::vector<uint8_t>>()) {}

VLData::VLData(std::vector<uint8_t> bytes) : bytes_(std::make_shared<const std::vector<uint8_t>>(std::move(bytes))) {}

VLData::VLData(const void* bytes, size_t length)
    : VLData(std::vector<uint8_t>(static_cast<const uint8_t*>(bytes), static_cast<const uint8_t*>(bytes) + length)) {}

VLData VLData::fromString(const std::string& text) { return VLData(text.data(), text.size()); }

std::string VLData::description() const {
  constexpr size_t kHead = 24, kTail = 8;
  auto hex = [this](size_t from, size_t to) {
    std::string out;
    char pair[3];
    for (size_t i = from; i < to; ++i) {
      std::snprintf(pair, sizeof pair, "%02x", (*bytes_)[i]);
      out += pair;
    }
    return out;
  };
  size_t n = length();
  std::string body = n <= kHead + kTail ? hex(0, n) : hex(0, kHead) + " ... " + hex(n - kTail, n);
  return "{length = " + std::to_string(n) + ", bytes = 0x" + body + "}";
}
