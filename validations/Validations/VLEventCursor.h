// VLEventCursor: how a validation asserts that something happened on an event stream.
//
// Each check becomes an expectation of the validator ("Expecting … on …"), waits for an
// event matching a VLExpectedEvent, and is fulfilled with the event found or failed with
// the closest near miss or a time-out. The cursor's position is nothing but the front of
// its stream: advancing drops the match and everything before it, for every cursor on
// that stream. A cursor lives for one validation and is used only from that validation's
// thread (never from the stream's queue); its match fields are not shared. Made by make().
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "Validations/VLEvent.h"
#include "Validations/VLEventStream.h"
#include "Validations/VLExpectedEvent.h"
#include "Validations/VLValidator.h"

class VLEventCursor {
 public:
  // Makes a cursor that searches `stream` and records its checks on `validator`. Throws
  // VLException when either is missing.
  static std::shared_ptr<VLEventCursor> make(std::shared_ptr<VLValidator> validator,
                                             std::shared_ptr<VLEventStream> stream);

  // Checks with the validator's default time-out. Returns the match or null.
  VLEventRef check(const std::shared_ptr<VLExpectedEvent>& expected);
  // Searches the stream from its front for `expected`, waiting at most `timeout` seconds (NaN
  // counts as 0) for it to arrive, and settles one expectation with the outcome. The wait ends
  // early, failing with the error's words, when the stream shows its collection's error
  // ("encountered-error: …"): nothing can arrive after it. Leaves the
  // stream as it is; remembers the match (null after a failure) for the advance operations.
  // Throws VLException without an expected event.
  VLEventRef check(const std::shared_ptr<VLExpectedEvent>& expected, double timeout);

  // Advances with the validator's default time-out.
  VLEventRef advance(const std::shared_ptr<VLExpectedEvent>& expected);
  // Checks, then drops the match and every event before it. Returns what the check returned.
  VLEventRef advance(const std::shared_ptr<VLExpectedEvent>& expected, double timeout);

  // Drops events up to and including the last check's match; does nothing after a failure.
  void advanceToLastMatch();
  // Drops events up to and including furthestMatch(); does nothing when there is none.
  void advanceToFurthestMatch();

  // Returns the match of the most recent check, or null if it found nothing.
  const VLEventRef& lastMatch() const { return lastMatch_; }
  // Returns the outcome of the most recent check whose reported timestamp exceeded
  // furthestTimestamp(): any match but the stream's very first event, or null after a failure.
  const VLEventRef& furthestMatch() const { return furthestMatch_; }
  // Returns the timestamp matches are compared against. It is never raised, so it stays 0.
  uint64_t furthestTimestamp() const { return furthestTimestamp_; }

  // Return the stream the cursor searches and the validator that records its checks.
  const std::shared_ptr<VLEventStream>& stream() const { return stream_; }
  const std::shared_ptr<VLValidator>& validator() const { return validator_; }

  VLEventCursor(const VLEventCursor&) = delete;
  VLEventCursor& operator=(const VLEventCursor&) = delete;

 private:
  VLEventCursor(std::shared_ptr<VLValidator> validator, std::shared_ptr<VLEventStream> stream)
      : stream_(std::move(stream)), validator_(std::move(validator)) {}
  // Records on the validator's trace that a check for `waitingFor` on the stream named
  // `stream` begins; returns its end record, to be completed when the check ends.
  VLTraceRecord traceCheckBegins(const std::string& waitingFor, const std::string& stream, double timeout);

  const std::shared_ptr<VLEventStream> stream_;
  VLEventRef lastMatch_;
  uint64_t furthestTimestamp_ = 0;
  VLEventRef furthestMatch_;
  const std::shared_ptr<VLValidator> validator_;
};
