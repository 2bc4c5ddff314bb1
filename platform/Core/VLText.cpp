#include "Core/VLText.h"

#include <algorithm>

std::string vl_lowercase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

std::string vl_join(const std::vector<std::string>& parts, const std::string& separator) {
  std::string out;
  for (size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) out += separator;
    out += parts[i];
  }
  return out;
}

std::string vl_boundedText(std::string text, size_t limit) {
  if (text.size() <= limit) return text;
  // A text cut before and then quoted in a longer one keeps counting from its first cut, so the
  // note still says how much of the provider's text is missing.
  static const std::string opening = " \u2026 [", closing = " bytes cut]";
  size_t earlier = 0;
  const size_t note = text.rfind(opening);
  if (note != std::string::npos && text.size() >= closing.size() &&
      text.compare(text.size() - closing.size(), closing.size(), closing) == 0) {
    const size_t digits = note + opening.size(), end = text.size() - closing.size();
    if (digits < end && text.find_first_not_of("0123456789", digits) == end && end - digits < 19) {
      earlier = std::stoull(text.substr(digits, end - digits));
      text.resize(note);
    }
  }
  size_t cut = std::min(limit, text.size());
  // Step back over continuation bytes (10xxxxxx) to the start of the character that would be
  // split; at most three, so text that is not UTF-8 still ends near the limit.
  for (int step = 0; step < 3 && cut > 0 && cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80;
       ++step) {
    --cut;
  }
  const size_t dropped = text.size() - cut + earlier;
  text.resize(cut);
  text += opening + std::to_string(dropped) + closing;
  text.shrink_to_fit();  // the rest of the provider's text must not stay allocated behind it
  return text;
}
