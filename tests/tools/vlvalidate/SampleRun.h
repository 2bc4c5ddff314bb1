// A fixed, hand-built run for the reporter and baseline tests: one case of each kind
// (passed, failed with marked identifiers and a near miss, inconclusive with a hostile name,
// flaky after a retry), compared with a small baseline.
#pragma once

#include <string>
#include <vector>

#include "Validations/VLValidationErrors.h"
#include "vlvalidate/VLBaseline.h"
#include "vlvalidate/VLRunInfo.h"
#include "vlvalidate/VLRunSummary.h"

namespace sample {

struct Run {
  VLRunInfo info;
  std::vector<VLCaseRecord> records;  // in the order they finished
  VLRunSummary summary;
};

inline VLExpectationRecord passed(std::string description) {
  return {std::move(description), VLValidationResultPassed, "", std::nullopt};
}

inline VLExpectationRecord failed(std::string description, std::string comment, int64_t code,
                                  std::string errorDescription) {
  return {std::move(description), VLValidationResultFailed, comment,
          VLErrorRecord{KsVaultlineValidationErrorDomain, code, std::move(errorDescription)}};
}

// A failed check whose closest event had the wrong size: its reason text and its near miss.
inline VLExpectationRecord nearlyMatched() {
  const std::string closest = "Validation-EchoFishKiloMars.txt id:item-8 5 bytes";
  const std::string reason = "Closest match was\n" + closest +
                             "\nbut these keys differed from expectation:\ndocumentSize: got 5, but expected 6";
  auto record = failed("Expecting signal (update), properties documentSize: 6, filename: Validation-EchoFishKiloMars.txt, "
                       "pending: 0 on events for item-7",
                       reason, VLValidationErrorCheckFailed, reason);
  record.nearMiss = VLNearMiss{"signal (update), properties documentSize: 6, filename: Validation-EchoFishKiloMars.txt, pending: 0",
                               closest,
                               {{"documentSize", "6", "5", true},
                                {"filename", "Validation-EchoFishKiloMars.txt", "Validation-EchoFishKiloMars.txt", false},
                                {"pending", "0", "0", false}}};
  return record;
}

inline VLCaseRecord record(std::string id, std::string suite, std::string selector, std::optional<std::string> variant,
                           std::string title, std::string category, size_t order) {
  VLCaseRecord record;
  record.shortID = std::move(id);
  record.suite = std::move(suite);
  record.selector = std::move(selector);
  record.variant = std::move(variant);
  record.title = std::move(title);
  record.category = std::move(category);
  record.nameForMarlin = record.suite + "_" + record.selector;
  record.order = order;
  return record;
}

inline const char* kBaseline = R"({"format": "vlvalidate-report", "formatVersion": 1,
  "startTime": "2024-04-30T08:00:00Z", "cases": [
  {"id": "VLContainerValidation.ItemCount/RootContainer", "verdict": "failed"},
  {"id": "VLContainerValidation.SecondItemIsBounced/Folder", "verdict": "passed"},
  {"id": "VLPlaceholderValidation.PlaceholderIsWritten", "verdict": "inconclusive"},
  {"id": "VLGoneValidation.Retired", "verdict": "passed"}]})";

inline Run run() {
  Run run;
  run.info.toolVersion = "9.9.9";
  run.info.startTime = "2024-05-01T12:00:00Z";
  run.info.providerChoice = "sim:case-sensitive-names";
  run.info.providerName = "net.vaultline.simulated";
  run.info.properties = {"KsVaultlineRootContainerItemIdentifier", true, false, true};
  run.info.options.jobs = 2;
  run.info.options.retries = 1;
  run.info.options.strict = true;
  run.info.options.shuffleSeed = 4242;
  run.info.selectedCases = 4;
  run.info.plannedRuns = 4;

  auto counted = record("VLContainerValidation.ItemCount/RootContainer", "VLContainerValidation",
                        "validateItemCount:variant:", "variantRootContainer:", "Item Count (RootContainer)", "2", 1);
  counted.attempts.push_back({VLValidationResultPassed,
                              0.012,
                              {passed("Looking up container KsVaultlineRootContainerItemIdentifier"),
                               passed("Expecting child item count of item-3 to be 0")},
                              {{"KsVaultlineRootContainerItemIdentifier", 0}, {"item-3", 1}},
                              {}});

  auto bounced =
      record("VLContainerValidation.SecondItemIsBounced/Folder", "VLContainerValidation",
             "validateSecondItemIsBounced:variant:", "variantFolder:", "Second Item Is Bounced (Folder)", "1", 0);
  bounced.attempts.push_back(
      {VLValidationResultFailed,
       0.0314,
       {passed("Create folder ValidationFolder-AlabamaCarbonSixZulu in KsVaultlineRootContainerItemIdentifier"),
        failed("subsequent copy of Validation-EchoFishKiloMars.txt to item-7 should fail with filename collision error",
               "Operation was expected to fail", 0, "Operation was expected to fail"),
        failed("Expecting child item count of item-7 to be 1", "Child item count is 2\nsecond line of the comment", 1,
               "Child item count is 2 ↩ The count includes a hidden item"),
        nearlyMatched()},
       {{"KsVaultlineRootContainerItemIdentifier", 0},
        {"ValidationFolder-AlabamaCarbonSixZulu", 1},
        {"item-7", 1},
        {"Validation-EchoFishKiloMars", 2}},
       {}});

  auto placeholder = record("VLPlaceholderValidation.PlaceholderIsWritten", "VLPlaceholderValidation",
                            "validatePlaceholderIsWritten:", std::nullopt, "Placeholder Is Written", "1", 2);
  placeholder.attempts.push_back(
      {VLValidationResultInconclusive,
       2.5,
       {passed("Create file Validation-\x1b[31mRed\x01 in KsVaultlineRootContainerItemIdentifier"),
        {"Provider does not sync; placeholders are not written", VLValidationResultInconclusive, "", std::nullopt},
        {"Cleanup within timeout", VLValidationResultFailed, std::nullopt, std::nullopt}},
       {},
       {}});
  placeholder.attempts.push_back(placeholder.attempts.back());
  placeholder.attempts.front().runtime = 2.25;

  auto trash =
      record("VLTrashValidation.TrashUntrash/TrashingFolder", "VLTrashValidation",
             "validateTrashUntrash:variant:", "variantTrashingFolder:", "Trash Untrash (TrashingFolder)", "2", 3);
  trash.attempts.push_back({VLValidationResultFailed,
                            5.004,
                            {failed("Expecting signal (any), properties filename: Validation-OscarPapa",
                                    "Timed out (5s)", 2, "Timed out (5s)")},
                            {{"Validation-OscarPapa", 0}},
                            {}});
  trash.attempts.push_back({VLValidationResultPassed, 0.2, {passed("Trash item-9")}, {{"item-9", 0}}, {}});

  run.records = {bounced, counted, placeholder, trash};
  std::set<std::string> known;
  for (const auto& each : run.records) known.insert(each.shortID);
  auto comparison = VLBaseline::parse(kBaseline, "baseline.json").compare(run.records, known);
  run.summary = VLRunSummary::of(run.records, run.info.options, run.info.plannedRuns, 7.75, comparison, std::nullopt);
  return run;
}

}  // namespace sample
