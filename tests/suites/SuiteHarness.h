// Helpers for the suite tests: a simulated provider installed with eligibility decided, the
// standard cases run against it, and readable summaries of their outcomes.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Simulated/Simulated.h"
#include "suites/VLStandardSuites.h"
#include "support/Await.h"
#include "support/CaseRuns.h"

namespace suitetest {

struct Provider {
  std::shared_ptr<VLSimulatedProviderService> service;
  std::shared_ptr<VLProvider> provider;
};

// Installs a fresh simulated provider with `settings` and asks its validation service for
// the provider's validation properties, as a runner does before listing cases.
inline Provider installSimulated(const std::string& settings) {
  VLRegisterStandardSuites();
  Provider installed{VLSimulatedProviderService::make(settings), nullptr};
  installed.service->install();
  installed.provider = installed.service->provider();
  vl_await<bool>([&](auto reply) { determineValidationEligibility(installed.provider, reply); });
  return installed;
}

// Runs every standard case whose short ID `filter` selects, one after the other.
inline std::vector<VLCaseRun> runCases(const Provider& installed, const std::string& filter, bool strict) {
  return vl_runCases(installed.provider, filter, strict);
}

// Returns how many files and folders the provider keeps in its tree and its trash.
inline size_t itemsOnDisk(const VLSimulatedProviderService& service) {
  namespace fs = std::filesystem;
  size_t count = 0;
  for (const char* area : {"Root", ".Trash"}) {
    fs::path top = fs::path(service.storageDirectory().path()) / area;
    std::error_code ignored;
    for (auto it = fs::recursive_directory_iterator(top, ignored); it != fs::recursive_directory_iterator();
         it.increment(ignored)) {
      ++count;
    }
  }
  return count;
}

// Returns the verdict and every expectation that did not pass, for failure messages.
inline std::string describe(const VLCaseRun& outcome) {
  std::string text = outcome.shortID + " ended " + vl_resultName(outcome.result);
  for (const auto& expectation : outcome.handledExpectations) {
    if (expectation->result() == VLValidationResultPassed) continue;
    text += "\n  [" + std::string(vl_resultName(expectation->result())) + "] " + expectation->description();
    if (auto comment = expectation->comment(); comment && !comment->empty()) text += "\n      " + *comment;
  }
  return text;
}

}  // namespace suitetest
