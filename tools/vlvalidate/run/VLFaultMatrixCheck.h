// VLFaultMatrixCheck: runs fault-matrix rows against whatever provider is installed and says
// whether each ended as the row demands. `vlvalidate selftest` runs every row against the
// built-in reference provider; the same function runs them through a provider in its own
// process. Also checks the other half of the proof: a conformant provider passes every case
// that no row selects.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Faults/VLFaultMatrix.h"
#include "Vaultline/VLProvider.h"
#include "vlvalidate/VLCaseRunner.h"

// How one check went.
struct VLFaultCheckResult {
  size_t cases = 0;                     // cases run
  std::vector<std::string> mismatches;  // "ShortID: what differs", one per case that did not end as demanded
  std::vector<VLCaseOutcome> outcomes;  // in listing order

  bool passed() const { return cases > 0 && mismatches.empty(); }
};

class VLFaultMatrixCheck {
 public:
  // Decides eligibility of `provider` (so that its validation properties are set), then runs
  // the cases `row` selects, `jobs` at once, in the row's strictness, and compares each
  // outcome with the row. The provider's platform must be installed and must behave as the
  // row's settings say. A row that selects no case fails ("no case matches").
  static VLFaultCheckResult runRow(const VLFaultMatrixRow& row, const std::shared_ptr<VLProvider>& provider, int jobs);

  // Decides eligibility, runs every case, and demands what a conformant provider with
  // `settings` owes: the row for (settings, strict) where one selects the case, else a pass.
  static VLFaultCheckResult runConformance(const std::string& settings, bool strict,
                                           const std::shared_ptr<VLProvider>& provider, int jobs);
};
