// VLFormat: printf-compatible formatting with "%@", which prints a value's description.
//
// Supported conversions: %@ %d %i %u %x %X %o %c %e %E %f %F %g %G %s %p %% with the usual
// flags, width, precision (including '*') and length modifiers (hh h l ll q z j t L), which
// are accepted and ignored because every argument carries its own type. A missing argument
// or one of the wrong kind prints a visible placeholder such as "<missing argument for %d>";
// formatting never has undefined behaviour. Safe to call from any thread.
#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Core/VLValue.h"

// One argument of a format call, converted from the caller's C++ value.
class VLFormatArgument {
 public:
  enum class Kind { Signed, Unsigned, Double, String, Described, Pointer };

  template <class T>
  VLFormatArgument(const T& value) {  // NOLINT: implicit on purpose, see VLFormat below
    assign(value);
  }

  Kind kind = Kind::Described;
  int64_t signedValue = 0;
  uint64_t unsignedValue = 0;
  double doubleValue = 0;
  const void* pointer = nullptr;
  std::string text;           // what %@ prints (and %s for strings)
  unsigned integerBytes = 8;  // width of the caller's integer, so "%x" of a negative int prints as printf does

 private:
  // printf sees integers narrower than int as int.
  static unsigned promotedBytes(std::size_t bytes) { return unsigned(bytes < sizeof(int) ? sizeof(int) : bytes); }
  void assign(bool v) { kind = Kind::Signed, signedValue = v, integerBytes = sizeof(int), text = v ? "1" : "0"; }
  template <std::signed_integral T>
  void assign(T v) {
    kind = Kind::Signed, signedValue = v, integerBytes = promotedBytes(sizeof(T)), text = std::to_string(v);
  }
  template <std::unsigned_integral T>
  requires(!std::same_as<T, bool>) void assign(T v) {
    kind = Kind::Unsigned, unsignedValue = v, integerBytes = promotedBytes(sizeof(T)), text = std::to_string(v);
  }
  template <std::floating_point T>
  void assign(T v) {
    kind = Kind::Double, doubleValue = v, text = VLValue(double(v)).description();
  }
  void assign(const char* v) { kind = Kind::String, text = v ? v : "(null)"; }
  void assign(char* v) { assign(static_cast<const char*>(v)); }
  void assign(const std::string& v) { kind = Kind::String, text = v; }
  void assign(std::string_view v) { kind = Kind::String, text = std::string(v); }
  void assign(const VLValue& v);
  void assign(const std::exception& v) { text = v.what(); }
  void assign(const void* v) { kind = Kind::Pointer, pointer = v, text = "<pointer>"; }
  void assign(std::nullptr_t) { text = "(null)"; }
  template <class T>
  requires std::derived_from<T, VLObject>
  void assign(const std::shared_ptr<T>& v) {
    pointer = v.get();
    text = v ? v->description() : "(null)";
  }
  template <class T>
  requires std::derived_from<T, VLObject>
  void assign(const std::weak_ptr<T>& v) { assign(v.lock()); }
  template <class T>
  void assign(const std::optional<T>& v) {
    if (v)
      assign(*v);
    else
      text = "(null)";
  }
  template <class T>
  requires requires(const T& t) {
    { t.description() } -> std::convertible_to<std::string>;
  }
  void assign(const T& v) {
    pointer = &v;
    text = v.description();
  }
  template <std::size_t N>
  void assign(const char (&v)[N]) {
    assign(static_cast<const char*>(v));
  }
};

// Formats `format` with already converted arguments.
std::string VLFormatArguments(const char* format, const std::vector<VLFormatArgument>& arguments);

// Formats `format` with `arguments`, printf style plus "%@".
template <class... Args>
std::string VLFormat(const char* format, const Args&... arguments) {
  return VLFormatArguments(format, std::vector<VLFormatArgument>{VLFormatArgument(arguments)...});
}
