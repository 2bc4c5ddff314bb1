// VLData: an immutable byte buffer, cheap to copy (copies share one buffer).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class VLData {
 public:
  VLData();
  explicit VLData(std::vector<uint8_t> bytes);
  VLData(const void* bytes, size_t length);

  // Returns the UTF-8 bytes of `text`, without a terminator.
  static VLData fromString(const std::string& text);

  const uint8_t* bytes() const { return bytes_->data(); }
  size_t length() const { return bytes_->size(); }
  const std::vector<uint8_t>& vector() const { return *bytes_; }
  // Returns the bytes as a string (no decoding checks).
  std::string stringValue() const { return std::string(bytes_->begin(), bytes_->end()); }

  // Returns "{length = 5, bytes = 0x48656c6c6f}"; long buffers show their first and last bytes.
  std::string description() const;

  bool operator==(const VLData& other) const { return bytes_ == other.bytes_ || *bytes_ == *other.bytes_; }

 private:
  std::shared_ptr<const std::vector<uint8_t>> bytes_;
};
