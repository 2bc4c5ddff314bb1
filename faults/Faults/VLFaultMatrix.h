// VLFaultMatrix: the proof that the validations catch what they exist to catch. Each row
// names a way the reference provider can be told to behave (its quirks and settings), the
// cases meant to notice, the verdicts they must reach and the words their reasons must
// carry. It is the one table used by the project's tests, by `vlvalidate selftest`, and by
// the protocol tests that run the same rows through a provider in its own process. The rows
// are in VLFaultMatrixRows.cpp; VLFaultMatcher holds an outcome against a row.
//
// Rows list what does not pass (and, where a fault must not spoil a case, that it still
// passes): under a row's settings and strictness, cases the row does not select are not
// judged by it. For a conformant provider (no quirk), a case must pass unless a row with the
// same settings, or the conformant default's row, says otherwise (see rowFor()). Immutable;
// safe from any thread.
#pragma once

#include <string>
#include <vector>

#include "Validations/VLValidationResult.h"

struct VLFaultMatrixRow {
  // The simulated provider's settings, as `--provider sim:SETTINGS` takes them ("" for the
  // conformant reference provider).
  std::string settings;
  // Whether the validators run in strict mode.
  bool strict = false;
  // The cases meant to notice: one short ID ("VLContainerValidation.Hierarchy"), or a
  // prefix of short IDs ending in '*' ("VLTrashValidation.TrashUntrash/*"). The runner's
  // case filter reads it the same way.
  std::string cases;
  // The verdicts each selected case may end with (usually one).
  std::vector<VLValidationResult> verdicts;
  // Texts that must each appear in some expectation of the case that did not pass (its
  // description, comment or error); "%@" stands for any text, as in the validations' own
  // wording.
  std::vector<std::string> words;
  // What the row shows, in a provider author's terms.
  std::string fault;
  // Whether the row waits out a long fixed time-out of a case (20 s or more).
  bool slow = false;
};

class VLFaultMatrix {
 public:
  // Returns every row, grouped by suite.
  static const std::vector<VLFaultMatrixRow>& rows();

  // Returns whether `row` is meant for the case with short ID `shortID`.
  static bool selects(const VLFaultMatrixRow& row, const std::string& shortID);
  // Returns what a conformant run under `settings` (no quirk) expects of `shortID` instead
  // of a pass: the row with these settings and strictness that selects it, else the
  // conformant default's row (settings "") with this strictness, else null.
  static const VLFaultMatrixRow* rowFor(const std::string& settings, bool strict, const std::string& shortID);
};
