#include "Faults/VLFaultMatcher.h"

#include <algorithm>

#include "Core/VLFormat.h"
#include "Validations/VLValidationErrors.h"

namespace {

// The text a failed or inconclusive expectation shows: description, comment, error.
std::vector<std::string> textsOf(const VLExpectation& expectation) {
  std::vector<std::string> texts{expectation.description(), expectation.comment().value_or("")};
  if (auto error = expectation.error()) texts.push_back(vl_prettyDescription(error));
  return texts;
}

}  // namespace

bool VLFaultMatcher::containsWords(const std::string& text, const std::string& words) {
  // The pieces between the "%@" holes must occur in order; taking each at its earliest
  // place after the previous one never misses a match that exists.
  size_t at = 0, start = 0;
  while (true) {
    size_t hole = words.find("%@", start);
    std::string piece = words.substr(start, hole == std::string::npos ? std::string::npos : hole - start);
    size_t found = text.find(piece, at);
    if (found == std::string::npos) return false;
    at = found + piece.size();
    if (hole == std::string::npos) return true;
    start = hole + 2;
  }
}

std::string VLFaultMatcher::verdictsText(const VLFaultMatrixRow& row) {
  std::string text;
  for (auto verdict : row.verdicts) text += (text.empty() ? "" : " or ") + std::string(vl_resultName(verdict));
  return text;
}

std::string VLFaultMatcher::mismatch(const VLFaultMatrixRow& row, VLValidationResult result,
                                     const std::vector<std::shared_ptr<VLExpectation>>& expectations) {
  std::vector<std::string> problems;
  if (std::find(row.verdicts.begin(), row.verdicts.end(), result) == row.verdicts.end()) {
    problems.push_back(VLFormat("ended %s instead of %@", vl_resultName(result), verdictsText(row)));
  }
  for (const auto& words : row.words) {
    bool found = false;
    for (const auto& expectation : expectations) {
      if (expectation->result() == VLValidationResultPassed) continue;
      for (const auto& text : textsOf(*expectation)) found = found || containsWords(text, words);
    }
    if (!found) problems.push_back("no expectation that did not pass says \"" + words + "\"");
  }
  std::string text;
  for (const auto& problem : problems) text += (text.empty() ? "" : "; ") + problem;
  return text;
}
