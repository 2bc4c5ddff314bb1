// VLEventStream: the append-only log of the events of one observed collection, searched by
// checks that wait for the first event satisfying a predicate.
//
// Events keep their order of arrival. Each event has a timestamp, its absolute position in
// the stream: positions keep counting across dropEventsUntil(), so a timestamp never
// changes while its event is kept. Every piece of state belongs to the stream's private
// serial queue ("event-stream"); predicates run on it. addEvent() may be called from any
// thread and blocks until every waiting check has seen the event; checks block their own
// thread on a semaphore and must never be made from the stream's queue. Made by make(),
// neither copyable nor movable; lives as long as its owners (observer, case, cursors).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Dispatch/VLDispatchGroup.h"
#include "Dispatch/VLDispatchQueue.h"
#include "Validations/VLEvent.h"
#include "Validations/VLTraceRecord.h"

class VLEventStream {
 public:
  using Predicate = std::function<bool(const VLEventRef& event)>;
  // Receives one `event` record per appended event, on the stream's queue.
  using TraceSink = std::function<void(VLTraceRecord record)>;

  // Makes an empty stream with its own serial queue.
  static std::shared_ptr<VLEventStream> make();

  // Appends `event` and shows it to every check now waiting, in the order the checks began.
  // Returns once all of them have seen it. Logs "[DEBUG] event@<index>: <type>" first,
  // where index is the array position the event is about to take (not its timestamp).
  // Throws VLException for a null event.
  void addEvent(const VLEventRef& event);

  // Returns the earliest event, already present or arriving within `timeout` seconds (NaN
  // counts as 0), for which `predicate` holds, or null. Stores the event's timestamp in `*timestamp` when
  // given; when nothing matched (or the match was dropped meanwhile) the stored value is
  // 2^63 − 1 plus the dropped count, above every real timestamp. Stops the process when
  // called on the stream's queue.
  VLEventRef checkForMatchingEventWithTimeout(double timeout, uint64_t* timestamp, Predicate predicate);

  // Removes `event` (found by identity) and every event before it. Stops the process when
  // the event is not in the stream.
  void dropEventsUntil(const VLEventRef& event);

  // Calls `body` on the stream's queue with the live event array, for inspection.
  void performWithEvents(const std::function<void(const std::vector<VLEventRef>& events)>& body);

  // Returns how many events were dropped from the front so far: the position of the oldest
  // event kept, or of the next one when the stream is empty.
  uint64_t droppedEventCount() const;

  // Sets where the stream reports each appended event (its trace number `streamID`, stream
  // description, position, type word, the item's one-line description); none at creation,
  // and then no record is built. A case sets it when its validator traces.
  void setTraceSink(uint64_t streamID, TraceSink sink);
  // Returns the number that names the stream in its validator's trace (0 when not traced):
  // two streams of one container share a description, never a number.
  uint64_t traceID() const;

  // Names the stream in expectation texts ("Expecting … on <description>").
  std::string streamDescription() const;
  void setStreamDescription(std::string description);

  // Sets where the stream asks, when a check has waited in vain, whether its source has been
  // silent (VLItemCollection::silenceNote()); none at creation.
  void setSilenceNote(std::function<std::string()> note);
  // The source's note, or "" when it has none or reported something.
  std::string silenceNote() const;

  VLEventStream(const VLEventStream&) = delete;
  VLEventStream& operator=(const VLEventStream&) = delete;

 private:
  struct Waiter;

  VLEventStream();
  // Runs `body` on the queue, directly when already on it.
  void onQueue(const std::function<void()>& body) const;

  const std::shared_ptr<VLDispatchQueue> queue_;
  // Reserved for grouping appends; never created.
  std::shared_ptr<VLDispatchGroup> eventGroup_;

  // Owned by queue_.
  std::vector<VLEventRef> events_;
  uint64_t droppedEventCount_ = 0;
  std::vector<std::shared_ptr<Waiter>> waiters_;
  std::string streamDescription_;
  TraceSink traceSink_;
  std::function<std::string()> silenceNote_;
  uint64_t traceID_ = 0;
};
