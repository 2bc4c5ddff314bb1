#include "vlvalidate/VLCaseFilter.h"

namespace {

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts;
  size_t start = 0;
  while (start <= text.size()) {
    size_t colon = text.find(':', start);
    std::string part = text.substr(start, colon == std::string::npos ? std::string::npos : colon - start);
    if (!part.empty()) parts.push_back(part);
    if (colon == std::string::npos) break;
    start = colon + 1;
  }
  return parts;
}

}  // namespace

VLCaseFilter::VLCaseFilter(const std::string& pattern) : pattern_(pattern) {
  size_t dash = pattern.find('-');
  positive_ = split(pattern.substr(0, dash));
  if (dash != std::string::npos) negative_ = split(pattern.substr(dash + 1));
  if (positive_.empty()) positive_.push_back("*");
}

bool VLCaseFilter::globMatches(const std::string& glob, const std::string& text) {
  // Iterative matching with one backtrack point: linear in practice, never exponential.
  size_t g = 0, t = 0, starG = std::string::npos, starT = 0;
  while (t < text.size()) {
    if (g < glob.size() && (glob[g] == '?' || glob[g] == text[t])) {
      ++g, ++t;
    } else if (g < glob.size() && glob[g] == '*') {
      starG = g++, starT = t;
    } else if (starG != std::string::npos) {
      g = starG + 1, t = ++starT;
    } else {
      return false;
    }
  }
  while (g < glob.size() && glob[g] == '*') ++g;
  return g == glob.size();
}

bool VLCaseFilter::matches(const std::vector<std::string>& names) const {
  // A unit-test runner name holds ':', the pattern separator; pasted whole, it still selects.
  for (const auto& name : names) {
    if (name == pattern_) return true;
  }
  auto any = [&](const std::vector<std::string>& globs) {
    for (const auto& glob : globs) {
      for (const auto& name : names) {
        if (globMatches(glob, name)) return true;
      }
    }
    return false;
  };
  return any(positive_) && !any(negative_);
}
