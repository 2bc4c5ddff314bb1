#include "Validations/VLEventCursor.h"

#include "Core/VLError.h"
#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Validations/VLItemDescription.h"
#include "Validations/VLValidationErrors.h"

std::shared_ptr<VLEventCursor> VLEventCursor::make(std::shared_ptr<VLValidator> validator,
                                                   std::shared_ptr<VLEventStream> stream) {
  if (!validator) throw VLException("VLEventCursor::make: no validator given");
  if (!stream) throw VLException("VLEventCursor::make: no event stream given");
  return std::shared_ptr<VLEventCursor>(new VLEventCursor(std::move(validator), std::move(stream)));
}

VLEventRef VLEventCursor::check(const std::shared_ptr<VLExpectedEvent>& expected) {
  return check(expected, validator_->defaultTimeout());
}

VLEventRef VLEventCursor::check(const std::shared_ptr<VLExpectedEvent>& expected, double timeout) {
  if (!expected) throw VLException("VLEventCursor::check: no expected event given");
  timeout = vl_timeoutOrZero(timeout);
  auto expectation = validator_->expectationWithDescription("Expecting %@ on %@", expected->eventDescription(),
                                                            stream_->streamDescription());
  uint64_t timestamp = 0;
  VLEventRef match = stream_->checkForMatchingEventWithTimeout(
      timeout, &timestamp, [expected](const VLEventRef& event) { return expected->matchesEvent(event); });

  if (match) {
    expectation->fulfillWithComment("Fulfilled by %@ on %@", match->type(), vl_prettyDescription(match->item()));
  } else {
    auto closest = expected->closestMatch();
    std::string reason =
        closest ? closest->nonmatchingReasonForExpectedEvent(*expected) : VLFormat("Timed out (%gs)", timeout);
    expectation->failWithError(
        VLError::makeWithDescription(KsVaultlineValidationErrorDomain, VLValidationErrorCheckFailed, reason));
  }

  // A failed check reports the largest timestamp of all, so it clears furthestMatch_ too.
  if (timestamp > furthestTimestamp_) furthestMatch_ = match;
  lastMatch_ = match;
  return match;
}

VLEventRef VLEventCursor::advance(const std::shared_ptr<VLExpectedEvent>& expected) {
  return advance(expected, validator_->defaultTimeout());
}

VLEventRef VLEventCursor::advance(const std::shared_ptr<VLExpectedEvent>& expected, double timeout) {
  VLEventRef match = check(expected, timeout);
  advanceToLastMatch();
  return match;
}

void VLEventCursor::advanceToLastMatch() {
  if (lastMatch_) stream_->dropEventsUntil(lastMatch_);
}

void VLEventCursor::advanceToFurthestMatch() {
  if (furthestMatch_) stream_->dropEventsUntil(furthestMatch_);
}
