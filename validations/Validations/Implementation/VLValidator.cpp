#include "Validations/VLValidator.h"

#include <algorithm>

#include "Core/VLDate.h"
#include "Core/VLLog.h"
#include "Validations/VLValidationErrors.h"
#include "Validations/VLValidationLoggingItemManager.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProviderFacts.h"

namespace {
double now() { return VLDate::now().timeIntervalSinceReferenceDate(); }

VLValue errorTraceValue(const VLErrorRef& error) { return error ? VLValue(vl_prettyDescription(error)) : VLValue(); }
}  // namespace

VLValidator::VLValidator()
    : validationQueue_(VLDispatchQueue::make("validation queue")), expectationGroup_(VLDispatchGroup::make()) {}

std::shared_ptr<VLValidator> VLValidator::make() {
  auto validator = std::shared_ptr<VLValidator>(new VLValidator());
  validator->itemManager_ = VLValidationLoggingItemManager::make();
  validator->itemManager_->setValidator(validator);
  return validator;
}

void VLValidator::startValidation() {
  startTime_.store(now());
  result_.store(VLValidationResultRunning);
}

void VLValidator::finishValidation() {
  stopTime_.store(now());
  validationQueue_->sync([this] {
    unsigned lowest = VLValidationResultPassed;
    for (const auto& expectation : handledExpectations_) lowest = std::min<unsigned>(lowest, expectation->result());
    for (const auto& expectation : outstandingExpectations_) lowest = std::min<unsigned>(lowest, expectation->result());
    result_.store(static_cast<VLValidationResult>(lowest));
  });
}

VLValidationResult VLValidator::result() const { return result_.load(); }

double VLValidator::runtime() const { return stopTime_.load() - startTime_.load(); }

std::shared_ptr<VLExpectation> VLValidator::expectationWithText(const std::string& text) {
  auto expectation = VLExpectation::make();
  validationQueue_->sync([&] {
    expectation->setValidator(weak_from_this());
    expectation->setDescription(text);
    outstandingExpectations_.push_back(expectation);
    expectationGroup_->enter();
    if (isTracing()) trace(VLTraceRecord(VLTraceKind::Expectation).set("phase", "created").set("description", text));
  });
  return expectation;
}

void VLValidator::markInconclusiveWithCommentText(const std::string& text) {
  recordSettled(text, VLValidationResultInconclusive);
}

void VLValidator::failWithCommentText(const std::string& text) { recordSettled(text, VLValidationResultFailed); }

void VLValidator::recordSettled(const std::string& text, VLValidationResult result) {
  auto expectation = VLExpectation::make();
  validationQueue_->sync([&] {
    expectation->setValidator(weak_from_this());
    expectation->setDescription(text);
    if (result != VLValidationResultInconclusive) expectation->setResult(result);
    outstandingExpectations_.push_back(expectation);
    expectationGroup_->enter();
    if (isTracing()) trace(VLTraceRecord(VLTraceKind::Expectation).set("phase", "created").set("description", text));
    fulfillExpectation(expectation);
  });
}

void VLValidator::fulfillExpectation(const std::shared_ptr<VLExpectation>& expectation) {
  auto self = shared_from_this();
  validationQueue_->async([self, expectation] { self->settle(expectation); });
}

void VLValidator::settle(const std::shared_ptr<VLExpectation>& expectation) {
  auto found = std::find(outstandingExpectations_.begin(), outstandingExpectations_.end(), expectation);
  if (found == outstandingExpectations_.end()) return;
  expectation->setValidator(std::weak_ptr<VLValidator>());
  outstandingExpectations_.erase(found);
  handledExpectations_.push_back(expectation);
  if (statusBlock_) statusBlock_(expectation, markedIdentifiers_);
  if (isTracing()) {
    VLTraceRecord record(VLTraceKind::Expectation);
    record.set("phase", "settled")
        .set("description", expectation->description())
        .set("result", vl_resultName(expectation->result()))
        .set("comment", expectation->comment())
        .set("error", errorTraceValue(expectation->error()));
    trace(std::move(record));
  }
  expectationGroup_->leave();
}

void VLValidator::waitForExpectations() { waitForExpectationsWithTimeout(defaultTimeout()); }

void VLValidator::waitForExpectationsWithTimeout(double seconds) {
  seconds = vl_timeoutOrZero(seconds);
  VL_ASSERT(!validationQueue_->isCurrent(), "waitForExpectations called on the validation queue");
  // An expectation made after the group last emptied, but before the time is up, is waited
  // for as well: only what is still open at the deadline has timed out.
  const double deadline = now() + seconds;
  for (bool open = true; open;) {
    expectationGroup_->wait(std::max(0.0, deadline - now()));
    validationQueue_->sync([&] { open = !outstandingExpectations_.empty() && now() < deadline; });
  }
  validationQueue_->sync([&] {
    // Failing schedules each settling step behind this one, so the list is not changed
    // while it is walked.
    for (const auto& expectation : outstandingExpectations_) {
      expectation->failWithError(VLError::makeWithDescription(
          KsVaultlineValidationErrorDomain, VLValidationErrorTimedOut, VLFormat("Timed out (%gs)", seconds)));
    }
  });
  validationQueue_->sync([] {});
}

bool VLValidator::expectationsHaveFailed() {
  bool failed = false;
  validationQueue_->sync([&] {
    failed = std::any_of(handledExpectations_.begin(), handledExpectations_.end(),
                         [](const auto& expectation) { return expectation->result() == VLValidationResultFailed; });
  });
  return failed;
}

std::vector<std::shared_ptr<VLExpectation>> VLValidator::handledExpectations() {
  std::vector<std::shared_ptr<VLExpectation>> copy;
  validationQueue_->sync([&] { copy = handledExpectations_; });
  return copy;
}

void VLValidator::setStatusBlock(StatusBlock block) {
  validationQueue_->sync([&] { statusBlock_ = std::move(block); });
}

VLValidator::StatusBlock VLValidator::statusBlock() {
  StatusBlock block;
  validationQueue_->sync([&] { block = statusBlock_; });
  return block;
}

void VLValidator::setTraceBlock(TraceBlock block) {
  std::unique_ptr<VLProviderFacts::Subscription> subscription;
  auto platform = VLPlatform::currentOrNull();
  if (block && platform) {
    if (auto facts = platform->providerFacts()) {
      std::weak_ptr<VLValidator> weak = weak_from_this();
      subscription = facts->subscribe([weak](const VLProviderFact& fact) {
        if (auto validator = weak.lock()) {
          validator->trace(
              VLTraceRecord(VLTraceKind::Provider).set("fact", VLProviderFact::kindName(fact.kind)).set("text", fact.text));
        }
      });
    }
  }
  std::shared_ptr<void> previous;
  {
    std::lock_guard lock(traceMutex_);
    tracing_.store(static_cast<bool>(block));
    traceBlock_ = std::move(block);
    previous = std::move(providerFactsSubscription_);
    providerFactsSubscription_ = std::move(subscription);
  }
  // Ends the old subscription outside the lock: a fact being published may be waiting for it.
  previous.reset();
}

VLValidator::TraceBlock VLValidator::traceBlock() {
  std::lock_guard lock(traceMutex_);
  return traceBlock_;
}

void VLValidator::trace(VLTraceRecord record) {
  if (!isTracing()) return;
  std::lock_guard lock(traceMutex_);
  if (!traceBlock_) return;
  const double start = startTime_.load();
  record.setT(start > 0 ? std::max(0.0, now() - start) : 0);
  traceBlock_(std::move(record));
}

std::string VLValidator::description() const {
  std::string text;
  for (const auto& expectation : handledExpectations_) text += VLFormat("\t%@\n", expectation->description());
  return text;
}
