// VLOptionRange: a numeric option's range and default, written once where the option is
// declared (VLRunOptions), so that the command line's checks and help, the live page's
// request checks and form, and the GoogleTest registration all hold it to the same numbers.
// A literal value.
#pragma once

#include <sstream>
#include <string>

template <class T>
struct VLOptionRange {
  T min;
  T max;
  T fallback;  // the default

  // Returns whether `value` lies in the range (a NaN does not).
  constexpr bool contains(T value) const { return value >= min && value <= max; }
  // Returns the range as help shows it: "0.01 to 3600".
  std::string text() const { return number(min) + " to " + number(max); }
  // Returns the range and the default as help shows them: "1 to 256 (default 1)".
  std::string help() const { return text() + " (default " + number(fallback) + ")"; }
  // Returns a number as help shows it: "0.01", "3600", "5".
  static std::string number(T value) {
    std::ostringstream text;
    text << value;
    return text.str();
  }
};
