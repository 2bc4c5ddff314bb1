#include "vlvalidate/VLCaseRunner.h"

#include "Dispatch/VLSemaphore.h"
#include "vlvalidate/VLCaseFilter.h"
#include "vlvalidate/VLCaseID.h"

VLCaseOutcome VLCaseRunner::run(const std::shared_ptr<VLValidationCase>& validationCase,
                                const VLCaseRunOptions& options) {
  if (!validationCase) throw VLException("VLCaseRunner::run: no case given");
  auto validator = VLValidator::make();
  validator->setStrict(options.strict);
  validator->setDefaultTimeout(options.defaultTimeout);
  if (options.statusBlock) validator->setStatusBlock(options.statusBlock);
  std::shared_ptr<VLTraceRecorder> recorder;
  if (options.recordTrace) {
    recorder = options.boundTrace ? VLTraceRecorder::makeBounded(options.traceFirst, options.traceLast)
                                  : VLTraceRecorder::make();
  }
  if (recorder) recorder->attach(validator);
  if (options.traceListener) {
    // The listener sees each record first; the recorder (if any) keeps it afterwards.
    auto recording = validator->traceBlock();
    validator->setTraceBlock([listener = options.traceListener, recording](VLTraceRecord record) {
      listener(record);
      if (recording) recording(std::move(record));
    });
  }
  auto done = VLSemaphore::make(0);
  validationCase->performWithValidator(validator, [done] { done->signal(); });
  done->wait();

  VLCaseOutcome outcome;
  outcome.validationCase = validationCase;
  outcome.shortID = vl_caseShortID(*validationCase);
  outcome.result = validator->result();
  outcome.runtime = validator->runtime();
  outcome.handledExpectations = validator->handledExpectations();
  outcome.marks = validator->markedIdentifiers();
  if (recorder) {
    outcome.trace = recorder->finish(validator);
    outcome.traceOmitted = recorder->omitted();
    outcome.traceOmittedAfter = options.traceFirst;
  }
  return outcome;
}

std::shared_ptr<VLValidationCase> VLCaseRunner::freshCopy(const VLValidationCase& validationCase) {
  if (!validationCase.suiteClass()) throw VLException("VLCaseRunner::freshCopy: the case has no suite class");
  return VLValidationCase::makeWithSuiteClass(validationCase.suiteClass(), validationCase.selector(),
                                              validationCase.provider(), validationCase.variantSelector());
}

std::vector<std::shared_ptr<VLValidationCase>> VLCaseRunner::casesForProvider(
    const std::shared_ptr<VLProvider>& provider, const VLCaseFilter& filter) {
  std::vector<std::shared_ptr<VLValidationCase>> selected;
  for (const auto& [suite, cases] : VLValidationCase::allValidationsForProvider(provider)) {
    for (const auto& validationCase : cases) {
      if (filter.matches({vl_caseShortID(*validationCase), validationCase->nameForMarlin()})) {
        selected.push_back(validationCase);
      }
    }
  }
  return selected;
}
