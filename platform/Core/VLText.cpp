#include "Core/VLText.h"

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
  size_t cut = limit;
  // Step back over continuation bytes (10xxxxxx) to the start of the character that would be
  // split; at most three, so text that is not UTF-8 still ends near the limit.
  for (int step = 0; step < 3 && cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80; ++step) --cut;
  size_t dropped = text.size() - cut;
  text.resize(cut);
  text += " \u2026 [" + std::to_string(dropped) + " bytes cut]";
  text.shrink_to_fit();  // the rest of the provider's text must not stay allocated behind it
  return text;
}
