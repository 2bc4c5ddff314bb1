#include "Validations/VLMarkAnnotator.h"

#include <algorithm>
#include <cctype>

namespace {

// Characters that continue an identifier or a generated name.
bool continuesMarkedName(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-'; }

}  // namespace

VLMarkAnnotator::VLMarkAnnotator(const std::map<std::string, uint64_t>& marks) {
  for (const auto& [name, mark] : marks) {
    if (!name.empty()) marks_.emplace_back(name, mark);
  }
  std::stable_sort(marks_.begin(), marks_.end(),
                   [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
  for (uint32_t i = 0; i < marks_.size(); ++i) byFirstByte_[static_cast<unsigned char>(marks_[i].first[0])].push_back(i);
}

std::string VLMarkAnnotator::annotate(const std::string& text, const Paint& paint) const {
  std::string result;
  size_t at = 0;
  while (at < text.size()) {
    const bool startsWord = at == 0 || !continuesMarkedName(text[at - 1]) || !continuesMarkedName(text[at]);
    const std::pair<std::string, uint64_t>* found = nullptr;
    if (startsWord) {
      for (uint32_t index : byFirstByte_[static_cast<unsigned char>(text[at])]) {
        const auto& mark = marks_[index];
        const std::string& name = mark.first;
        size_t end = at + name.size();
        if (text.compare(at, name.size(), name) != 0) continue;
        if (end < text.size() && continuesMarkedName(text[end]) && continuesMarkedName(name.back())) continue;
        found = &mark;
        break;
      }
    }
    if (!found) {
      result += text[at++];
      continue;
    }
    size_t end = at + found->first.size();
    // "Validation-Name.txt": the mark goes after the extension.
    if (end + 1 < text.size() && text[end] == '.' && std::isalnum(static_cast<unsigned char>(text[end + 1]))) {
      ++end;
      while (end < text.size() && std::isalnum(static_cast<unsigned char>(text[end]))) ++end;
    }
    std::string piece = text.substr(at, end - at) + " [" + std::to_string(found->second) + "]";
    result += paint ? paint(piece, found->second) : piece;
    at = end;
  }
  return result;
}
