// VLFaultMatcher: holds the outcome of one case against a fault-matrix row: did it end with
// one of the row's verdicts, and do the expectations that did not pass say the row's words.
// Stateless; safe from any thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Faults/VLFaultMatrix.h"
#include "Validations/VLExpectation.h"

class VLFaultMatcher {
 public:
  // Returns "" when a case that ended with `result`, having handled `expectations`, is what
  // `row` asks of it, else a sentence saying what differs (the verdict, or which words are
  // missing).
  static std::string mismatch(const VLFaultMatrixRow& row, VLValidationResult result,
                              const std::vector<std::shared_ptr<VLExpectation>>& expectations);
  // Returns whether `text` contains `words`, reading "%@" in `words` as any text.
  static bool containsWords(const std::string& text, const std::string& words);
  // Returns the verdicts `row` allows, for people: "failed" or "failed or inconclusive".
  static std::string verdictsText(const VLFaultMatrixRow& row);
};
