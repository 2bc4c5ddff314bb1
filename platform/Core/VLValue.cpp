#include "Core/VLValue.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace {
// Converts like a cast, but saturates instead of leaving out-of-range values undefined.
int64_t saturatingInteger(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 9223372036854775808.0) return std::numeric_limits<int64_t>::max();
  if (value < -9223372036854775808.0) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(value);
}

std::string shortestDouble(double value) {
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}
}  // namespace

bool VLValue::boolValue() const {
  switch (kind()) {
    case Kind::Bool: return std::get<bool>(storage_);
    case Kind::Integer: return std::get<int64_t>(storage_) != 0;
    case Kind::Unsigned: return std::get<uint64_t>(storage_) != 0;
    case Kind::Double: return std::get<double>(storage_) != 0;
    default: return false;
  }
}

int64_t VLValue::integerValue() const {
  switch (kind()) {
    case Kind::Bool: return std::get<bool>(storage_) ? 1 : 0;
    case Kind::Integer: return std::get<int64_t>(storage_);
    case Kind::Unsigned: {
      uint64_t value = std::get<uint64_t>(storage_);
      return value > uint64_t(std::numeric_limits<int64_t>::max()) ? std::numeric_limits<int64_t>::max()
                                                                   : static_cast<int64_t>(value);
    }
    case Kind::Double: return saturatingInteger(std::get<double>(storage_));
    default: return 0;
  }
}

uint64_t VLValue::unsignedValue() const {
  switch (kind()) {
    case Kind::Unsigned: return std::get<uint64_t>(storage_);
    case Kind::Double: {
      double value = std::get<double>(storage_);
      if (!(value > 0)) return 0;
      return value >= 18446744073709551616.0 ? std::numeric_limits<uint64_t>::max() : static_cast<uint64_t>(value);
    }
    default: {
      int64_t value = integerValue();
      return value < 0 ? 0 : static_cast<uint64_t>(value);
    }
  }
}

double VLValue::doubleValue() const {
  switch (kind()) {
    case Kind::Bool: return std::get<bool>(storage_) ? 1 : 0;
    case Kind::Integer: return static_cast<double>(std::get<int64_t>(storage_));
    case Kind::Unsigned: return static_cast<double>(std::get<uint64_t>(storage_));
    case Kind::Double: return std::get<double>(storage_);
    default: return 0;
  }
}

VLValue::Object VLValue::object() const {
  auto found = std::get_if<Object>(&storage_);
  return found ? *found : nullptr;
}

std::string VLValue::description() const {
  switch (kind()) {
    case Kind::None: return "(null)";
    case Kind::Bool: return std::get<bool>(storage_) ? "1" : "0";
    case Kind::Integer: return std::to_string(std::get<int64_t>(storage_));
    case Kind::Unsigned: return std::to_string(std::get<uint64_t>(storage_));
    case Kind::Double: return shortestDouble(std::get<double>(storage_));
    case Kind::String: return std::get<std::string>(storage_);
    case Kind::Date: return std::get<VLDate>(storage_).description();
    case Kind::Data: return std::get<VLData>(storage_).description();
    case Kind::Array: {
      std::string out = "(";
      const char* separator = "";
      for (const auto& element : std::get<Array>(storage_)) {
        out += separator + element.description();
        separator = ", ";
      }
      return out + ")";
    }
    case Kind::Dictionary: {
      std::string out = "{";
      for (const auto& [key, value] : std::get<Dictionary>(storage_)) out += key + " = " + value.description() + "; ";
      if (out.size() > 1) out.resize(out.size() - 1);
      return out + "}";
    }
    case Kind::Object: return vl_describe(std::get<Object>(storage_));
  }
  return "";
}

bool VLValue::isEqual(const VLValue& other) const {
  if (isNumber() && other.isNumber()) {
    bool bothExact = kind() != Kind::Double && other.kind() != Kind::Double;
    if (!bothExact) return doubleValue() == other.doubleValue();
    // Sign and magnitude, so that signed and unsigned integers compare without loss.
    auto exact = [](const VLValue& value) -> std::pair<bool, uint64_t> {
      if (const uint64_t* unsignedValue = std::get_if<uint64_t>(&value.storage_)) return {false, *unsignedValue};
      int64_t integer = value.integerValue();
      return {integer < 0, integer < 0 ? uint64_t(0) - static_cast<uint64_t>(integer) : static_cast<uint64_t>(integer)};
    };
    return exact(*this) == exact(other);
  }
  if (kind() != other.kind()) return false;
  switch (kind()) {
    case Kind::None: return true;
    case Kind::String: return *string() == *other.string();
    case Kind::Date: return *date() == *other.date();
    case Kind::Data: return *data() == *other.data();
    case Kind::Array: return *array() == *other.array();
    case Kind::Dictionary: return *dictionary() == *other.dictionary();
    case Kind::Object: return vl_objectsEqual(object(), other.object());
    default: return false;
  }
}
