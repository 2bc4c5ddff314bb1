#include "Core/VLFormat.h"

#include <cstdio>
#include <cstring>

void VLFormatArgument::assign(const VLValue& v) {
  text = v.description();
  switch (v.kind()) {
    case VLValue::Kind::Bool:
    case VLValue::Kind::Integer: kind = Kind::Signed, signedValue = v.integerValue(); break;
    case VLValue::Kind::Unsigned: kind = Kind::Unsigned, unsignedValue = v.unsignedValue(); break;
    case VLValue::Kind::Double: kind = Kind::Double, doubleValue = v.doubleValue(); break;
    case VLValue::Kind::String: kind = Kind::String; break;
    default: kind = Kind::Described, pointer = v.object().get(); break;
  }
}

namespace {

const char* kindName(VLFormatArgument::Kind kind) {
  switch (kind) {
    case VLFormatArgument::Kind::Signed: return "integer";
    case VLFormatArgument::Kind::Unsigned: return "unsigned integer";
    case VLFormatArgument::Kind::Double: return "double";
    case VLFormatArgument::Kind::String: return "string";
    case VLFormatArgument::Kind::Described: return "object";
    case VLFormatArgument::Kind::Pointer: return "pointer";
  }
  return "value";
}

template <class T>
std::string printfOne(const std::string& pattern, T value) {
  int length = std::snprintf(nullptr, 0, pattern.c_str(), value);
  if (length < 0) return "<bad format " + pattern + ">";
  std::string out(static_cast<size_t>(length) + 1, '\0');
  std::snprintf(out.data(), out.size(), pattern.c_str(), value);
  out.resize(static_cast<size_t>(length));
  return out;
}

bool isInteger(VLFormatArgument::Kind kind) {
  return kind == VLFormatArgument::Kind::Signed || kind == VLFormatArgument::Kind::Unsigned;
}

// Appends `a` converted as `conversion` asks (`pattern` is the directive's flags, width and
// precision; `plainSpec` the same without the flags printf leaves undefined for text), or
// "<kind given for %x>" when the argument cannot be converted so.
void appendConversion(std::string& out, char conversion, const VLFormatArgument& a, const std::string& pattern,
                      const std::string& plainSpec, bool plainText, const std::string& written) {
  auto mismatch = [&] { out += std::string("<") + kindName(a.kind) + " given for " + written + ">"; };
  switch (conversion) {
    case '@':
    case 's':
    case 'S':
      if (conversion != '@' && a.kind != VLFormatArgument::Kind::String) {
        mismatch();
        break;
      }
      out += plainText ? a.text : printfOne(plainSpec + "s", a.text.c_str());
      break;
    case 'd':
    case 'i':
      if (a.kind == VLFormatArgument::Kind::Signed)
        out += printfOne(pattern + "lld", (long long)a.signedValue);
      else if (a.kind == VLFormatArgument::Kind::Unsigned)
        out += printfOne(pattern + "llu", (unsigned long long)a.unsignedValue);
      else
        mismatch();
      break;
    case 'c':
    case 'C':  // %c reads an int
      if (a.kind == VLFormatArgument::Kind::Signed)
        out += printfOne(plainSpec + "c", int(a.signedValue));
      else if (a.kind == VLFormatArgument::Kind::Unsigned)
        out += printfOne(plainSpec + "c", int(a.unsignedValue));
      else
        mismatch();
      break;
    case 'u':
    case 'x':
    case 'X':
    case 'o': {
      std::string tail = std::string("ll") + conversion;
      if (a.kind == VLFormatArgument::Kind::Unsigned) {
        out += printfOne(pattern + tail, (unsigned long long)a.unsignedValue);
      } else if (a.kind == VLFormatArgument::Kind::Signed) {
        // As printf would: a negative int reads as the unsigned int of the same bits.
        unsigned long long bits = (unsigned long long)a.signedValue;
        if (a.integerBytes < 8) bits &= (1ULL << (8 * a.integerBytes)) - 1;
        out += printfOne(pattern + tail, bits);
      } else
        mismatch();
      break;
    }
    case 'p':
      if (a.kind == VLFormatArgument::Kind::String || isInteger(a.kind) || a.kind == VLFormatArgument::Kind::Double)
        mismatch();
      else
        out += printfOne(plainSpec + "p", a.pointer);
      break;
    default: {  // floating conversions; integers are converted, as a reader would expect
      std::string tail(1, conversion);
      if (a.kind == VLFormatArgument::Kind::Double)
        out += printfOne(pattern + tail, a.doubleValue);
      else if (a.kind == VLFormatArgument::Kind::Signed)
        out += printfOne(pattern + tail, double(a.signedValue));
      else if (a.kind == VLFormatArgument::Kind::Unsigned)
        out += printfOne(pattern + tail, double(a.unsignedValue));
      else
        mismatch();
      break;
    }
  }
}

}  // namespace

std::string VLFormatArguments(const char* format, const std::vector<VLFormatArgument>& arguments) {
  std::string out;
  if (!format) return out;
  size_t next = 0;
  const char* p = format;
  while (*p) {
    if (*p != '%') {
      out += *p++;
      continue;
    }
    const char* start = p++;
    std::string flags, width, precision;
    while (*p && std::strchr("-+ #0'", *p)) flags += *p++;
    // A '*' takes an int argument; a missing or non-integer one is reported where it was due.
    std::string starProblem;
    auto takeStar = [&](std::string& into) -> bool {
      if (next >= arguments.size()) return false;  // reported below as a missing argument
      const auto& a = arguments[next++];
      if (!isInteger(a.kind)) {
        starProblem = std::string("<") + kindName(a.kind) + " given for *";
        return false;
      }
      int64_t value = a.kind == VLFormatArgument::Kind::Signed ? a.signedValue : int64_t(a.unsignedValue);
      into = std::to_string(value);
      return true;
    };
    if (*p == '*') {
      ++p;
      takeStar(width);
    }
    while (*p >= '0' && *p <= '9') width += *p++;
    bool hasPrecision = false;
    if (*p == '.') {
      hasPrecision = true;
      ++p;
      if (*p == '*') {
        ++p;
        // A negative precision from '*' means no precision at all.
        if (takeStar(precision) && precision[0] == '-') hasPrecision = false, precision.clear();
      }
      while (*p >= '0' && *p <= '9') precision += *p++;
    }
    while (*p && std::strchr("hlqzjtL", *p)) ++p;
    char conversion = *p;
    if (!conversion) {
      out.append(start);
      break;
    }
    ++p;
    if (conversion == '%') {
      out += '%';
      continue;
    }
    std::string written(start, p);
    if (!std::strchr("@diuxXocCeEfFgGaAsSp", conversion)) {
      out += written;  // not a conversion we know: keep it visible as written
      continue;
    }
    if (!starProblem.empty()) {
      out += starProblem + " in " + written + ">";
      if (next < arguments.size()) ++next;  // the conversion's own argument goes with it
      continue;
    }
    if (next >= arguments.size()) {
      out += "<missing argument for " + written + ">";
      continue;
    }
    const VLFormatArgument& a = arguments[next++];
    std::string pattern = "%" + flags + width + (hasPrecision ? "." + precision : "");
    // printf leaves '0', '#', '+' and ' ' undefined for %s, %c and %p: only '-' is passed on.
    std::string plainSpec = std::string("%") + (flags.find('-') != std::string::npos ? "-" : "") + width +
                            (hasPrecision ? "." + precision : "");
    appendConversion(out, conversion, a, pattern, plainSpec, width.empty() && !hasPrecision, written);
  }
  return out;
}
