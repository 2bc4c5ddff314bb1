#include "Validations/VLEventCursor.h"

#include <limits>
#include <string_view>

#include "Core/VLDate.h"
#include "Core/VLError.h"
#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Validations/VLItemDescription.h"
#include "Validations/VLNearMiss.h"
#include "Validations/VLValidationErrors.h"

namespace {
// The type word of the event an observer makes of a collection's error ("encountered-error: …").
constexpr const char* kCollectionErrorType = "encountered-error: ";
}  // namespace

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
  const std::string waitingFor = expected->eventDescription();
  const std::string streamName = stream_->streamDescription();
  auto expectation = validator_->expectationWithDescription("Expecting %@ on %@", waitingFor, streamName);
  std::optional<VLTraceRecord> ended;
  if (validator_->isTracing()) ended = traceCheckBegins(waitingFor, streamName, timeout);
  uint64_t timestamp = 0;
  // A collection is silent after its error, so no later event can match: the check ends at
  // the error with the error's words instead of waiting out its time-out (a provider's fault,
  // such as an invalid answer, must not hide behind "Timed out").
  auto stoppedBy = std::make_shared<VLEventRef>();  // written on the stream's queue, read after the wait
  VLEventRef match =
      stream_->checkForMatchingEventWithTimeout(timeout, &timestamp, [expected, stoppedBy](const VLEventRef& event) {
        if (expected->matchesEvent(event)) return true;
        if (event->type().rfind(kCollectionErrorType, 0) != 0) return false;
        *stoppedBy = event;
        return true;
      });
  const bool collectionFailed = match && match == *stoppedBy;
  if (collectionFailed) {
    match = nullptr;
    timestamp = std::numeric_limits<uint64_t>::max();  // like a time-out: past every event
  }

  std::string reason;
  const auto closest = match ? nullptr : expected->closestMatch();
  if (collectionFailed) {
    reason = VLFormat("%@ ended with an error before the event came: %@", streamName,
                      (*stoppedBy)->type().substr(std::string_view(kCollectionErrorType).size()));
    // An earlier event that nearly matched says as much about the fault as the error does.
    if (closest) reason += "\n" + closest->nonmatchingReasonForExpectedEvent(*expected);
  } else if (!match) {
    reason = closest ? closest->nonmatchingReasonForExpectedEvent(*expected) : VLFormat("Timed out (%gs)", timeout);
    // The case's words stay as they are; a provider that never reported a change is named
    // beside them in its own protocol's words.
    if (std::string note = stream_->silenceNote(); !note.empty()) reason += "\n" + note;
  }
  // The check's end is recorded before the expectation it settles.
  if (ended) {
    const double began = ended->value("waited").doubleValue();
    ended
        ->set("outcome", match                      ? "matched"
                         : collectionFailed         ? "collection-error"
                         : closest                  ? "near-miss"
                                                    : "timed-out")
        .set("position", match ? VLValue(timestamp) : VLValue())
        .set("match", match ? VLValue(match->item()) : VLValue())
        .set("reason", match ? VLValue() : VLValue(reason))
        .set("waited", VLDate::now().timeIntervalSinceReferenceDate() - began);
    validator_->trace(std::move(*ended));
  }
  if (match) {
    expectation->fulfillWithComment("Fulfilled by %@ on %@", match->type(), vl_prettyDescription(match->item()));
  } else {
    // The near miss also goes as data, so that a view can draw it without reading the reason.
    VLValue::Dictionary userInfo{{VLLocalizedDescriptionKey, reason}};
    if (closest) userInfo.emplace(VLNearMissKey, closest->nearMissForExpectedEvent(*expected).value());
    expectation->failWithError(
        VLError::make(KsVaultlineValidationErrorDomain, VLValidationErrorCheckFailed, std::move(userInfo)));
  }

  // A failed check reports the largest timestamp of all, so it clears furthestMatch_ too.
  if (timestamp > furthestTimestamp_) furthestMatch_ = match;
  lastMatch_ = match;
  return match;
}

VLTraceRecord VLEventCursor::traceCheckBegins(const std::string& waitingFor, const std::string& stream,
                                              double timeout) {
  const uint64_t id = validator_->nextTraceID();
  const uint64_t streamID = stream_->traceID();
  validator_->trace(VLTraceRecord(VLTraceKind::Check)
                        .set("phase", "began")
                        .set("id", id)
                        .set("streamID", streamID)
                        .set("stream", stream)
                        .set("waitingFor", waitingFor)
                        .set("timeout", timeout)
                        .set("from", stream_->droppedEventCount()));
  // The end's fields, in their order; "waited" holds the start until the check ends.
  VLTraceRecord ended(VLTraceKind::Check);
  ended.set("phase", "ended").set("id", id).set("streamID", streamID).set("stream", stream);
  ended.set("waitingFor", waitingFor);
  ended.set("outcome", VLValue()).set("position", VLValue()).set("match", VLValue()).set("reason", VLValue());
  ended.set("waited", VLDate::now().timeIntervalSinceReferenceDate());
  return ended;
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
