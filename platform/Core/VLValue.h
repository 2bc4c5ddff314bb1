// VLValue: the stand-in for "any object" where values travel untyped (variant values,
// user-info and option dictionaries, values read by key, "%@" arguments).
//
// A VLValue is none, a boolean, a signed or an unsigned integer, a double, a string, a date,
// data, an array, a string-keyed dictionary, or a shared VLObject. It is an immutable value
// type; copies are independent (objects inside are shared). Numbers compare by numeric
// value, so a boolean true equals the integer 1, and integers of either sign compare exactly.
#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Core/VLData.h"
#include "Core/VLDate.h"
#include "Core/VLObject.h"

class VLValue {
 public:
  using Array = std::vector<VLValue>;
  using Dictionary = std::map<std::string, VLValue>;
  using Object = std::shared_ptr<const VLObject>;

  enum class Kind { None, Bool, Integer, Unsigned, Double, String, Date, Data, Array, Dictionary, Object };

  VLValue() = default;
  VLValue(std::nullptr_t) {}
  VLValue(bool value) : storage_(value) {}
  // Signed integers are kept as Integer, unsigned ones as Unsigned (so that a 64-bit bit set
  // with its top bit set prints as the unsigned number it is).
  template <std::signed_integral T>
  VLValue(T value) : storage_(static_cast<int64_t>(value)) {}
  template <std::unsigned_integral T>
  requires(!std::same_as<T, bool>) VLValue(T value) : storage_(static_cast<uint64_t>(value)) {}
  VLValue(double value) : storage_(value) {}
  VLValue(const char* value) : storage_(std::string(value ? value : "")) {}
  VLValue(std::string value) : storage_(std::move(value)) {}
  VLValue(VLDate value) : storage_(value) {}
  VLValue(VLData value) : storage_(std::move(value)) {}
  VLValue(Array value) : storage_(std::move(value)) {}
  VLValue(Dictionary value) : storage_(std::move(value)) {}
  template <class T>
  requires std::derived_from<T, VLObject> VLValue(std::shared_ptr<T> object) {
    if (object) storage_ = Object(std::move(object));
  }
  template <class T>
  VLValue(const std::optional<T>& value) {
    if (value) *this = VLValue(*value);
  }

  Kind kind() const { return static_cast<Kind>(storage_.index()); }
  bool isNone() const { return kind() == Kind::None; }
  bool isNumber() const {
    return kind() == Kind::Bool || kind() == Kind::Integer || kind() == Kind::Unsigned || kind() == Kind::Double;
  }

  // Numeric readings: a number converted (values out of the integer range saturate, NaN
  // reads as 0); anything else reads as false / 0.
  bool boolValue() const;
  int64_t integerValue() const;
  uint64_t unsignedValue() const;
  double doubleValue() const;

  // Typed readings: a pointer to the stored value, or nullptr when the kind differs.
  const std::string* string() const { return std::get_if<std::string>(&storage_); }
  const VLDate* date() const { return std::get_if<VLDate>(&storage_); }
  const VLData* data() const { return std::get_if<VLData>(&storage_); }
  const Array* array() const { return std::get_if<Array>(&storage_); }
  const Dictionary* dictionary() const { return std::get_if<Dictionary>(&storage_); }
  Object object() const;
  // Returns the stored object cast to T, or nullptr when absent or of another class.
  template <class T>
  std::shared_ptr<const T> objectAs() const {
    return std::dynamic_pointer_cast<const T>(object());
  }

  // Returns the plain description: "(null)", "1"/"0" for booleans, decimal integers (unsigned
  // ones without a sign), shortest decimal doubles,
  // the string itself, the date's or data's description, "(a, b)" for arrays,
  // "{key = value; …}" for dictionaries, the object's description.
  std::string description() const;

  // Returns ordinary equality: numbers by value, arrays and dictionaries element-wise,
  // objects by isEqual. None equals none.
  bool isEqual(const VLValue& other) const;
  bool operator==(const VLValue& other) const { return isEqual(other); }

 private:
  std::variant<std::monostate, bool, int64_t, uint64_t, double, std::string, VLDate, VLData, Array, Dictionary, Object>
      storage_;
};
