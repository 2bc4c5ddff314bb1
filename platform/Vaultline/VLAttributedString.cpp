#include "Vaultline/VLAttributedString.h"

#include <cerrno>
#include <cstdint>
#include <vector>

#include "Core/VLFormat.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLUIToolkit.h"

namespace {

// Splits UTF-8 text into code points; a byte that starts no well-formed sequence becomes
// U+FFFD on its own.
std::vector<uint32_t> codePoints(const std::string& text) {
  static const unsigned char kLeadMask[] = {0x7F, 0x1F, 0x0F, 0x07};
  std::vector<uint32_t> points;
  size_t i = 0;
  while (i < text.size()) {
    auto lead = static_cast<unsigned char>(text[i]);
    int extra = lead < 0x80             ? 0
                : (lead & 0xE0) == 0xC0 ? 1
                : (lead & 0xF0) == 0xE0 ? 2
                : (lead & 0xF8) == 0xF0 ? 3
                                        : -1;
    bool wellFormed = extra >= 0 && i + extra < text.size();
    uint32_t point = wellFormed ? (lead & kLeadMask[extra]) : 0;
    for (int k = 1; wellFormed && k <= extra; ++k) {
      auto next = static_cast<unsigned char>(text[i + k]);
      wellFormed = (next & 0xC0) == 0x80;
      point = (point << 6) | (next & 0x3F);
    }
    points.push_back(wellFormed ? point : 0xFFFD);
    i += wellFormed ? extra + 1 : 1;
  }
  return points;
}

void appendEscapedUnit(std::string& out, uint32_t unit) {
  out += "\\u" + std::to_string(static_cast<int16_t>(static_cast<uint16_t>(unit))) + "?";
}

// Returns an RTF document whose body is `points`, in one plain font.
std::string richText(const std::vector<uint32_t>& points, size_t from, size_t to) {
  std::string body;
  for (size_t i = from; i < to; ++i) {
    uint32_t point = points[i];
    if (point == '\\' || point == '{' || point == '}') {
      body += '\\';
      body += static_cast<char>(point);
    } else if (point == '\n') {
      body += "\\par\n";
    } else if (point == '\t') {
      body += "\\tab ";
    } else if (point < 0x80) {
      body += static_cast<char>(point);
    } else if (point < 0x10000) {
      appendEscapedUnit(body, point);
    } else {
      appendEscapedUnit(body, 0xD800 + ((point - 0x10000) >> 10));
      appendEscapedUnit(body, 0xDC00 + ((point - 0x10000) & 0x3FF));
    }
  }
  return "{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\fswiss Helvetica;}}\n\\f0\\fs24 " + body + "}";
}

VLErrorRef invalidArgument(const std::string& text) {
  return VLError::makeWithDescription(VLPOSIXErrorDomain, EINVAL, text);
}

}  // namespace

VLAttributedString::VLAttributedString(std::string text) : text_(std::move(text)) {}

size_t VLAttributedString::length() const { return codePoints(text_).size(); }

std::shared_ptr<const VLFileWrapper> VLAttributedString::fileWrapperFromRange(
    size_t location, size_t length, const VLValue::Dictionary& documentAttributes, VLErrorRef* error) const {
  auto fail = [error](VLErrorRef made) -> std::shared_ptr<const VLFileWrapper> {
    if (error) *error = std::move(made);
    return nullptr;
  };
  std::vector<uint32_t> points = codePoints(text_);
  if (location > points.size() || length > points.size() - location) {
    return fail(invalidArgument(VLFormat("The range {%@, %@} lies outside the string of length %@.",
                                         static_cast<int64_t>(location), static_cast<int64_t>(length),
                                         static_cast<int64_t>(points.size()))));
  }
  auto type = documentAttributes.find(VLUIToolkit::documentTypeDocumentAttribute());
  if (type == documentAttributes.end() || !type->second.string()) {
    return fail(invalidArgument("The document attributes name no document type."));
  }
  if (*type->second.string() != VLUIToolkit::rtfdTextDocumentType()) {
    return fail(invalidArgument(VLFormat("Documents of type %@ cannot be written.", *type->second.string())));
  }
  VLData document = VLData::fromString(richText(points, location, location + length));
  return VLFileWrapper::makeDirectory({{"TXT.rtf", VLFileWrapper::makeRegularFile(std::move(document))}});
}
