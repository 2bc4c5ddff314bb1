#include "Validations/VLEventStream.h"

#include <algorithm>
#include <limits>

#include "Core/VLException.h"
#include "Core/VLLog.h"
#include "Dispatch/VLSemaphore.h"

namespace {
// What an index lookup reports for an event that is not there.
constexpr uint64_t kNotFound = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
}  // namespace

// One check in progress. Every field is touched only on the stream's queue, except the
// semaphore, which is the signal back to the checking thread.
struct VLEventStream::Waiter {
  Predicate predicate;
  std::shared_ptr<VLSemaphore> semaphore;
  VLEventRef result;

  void see(const VLEventRef& event) {
    if (result || !predicate(event)) return;
    result = event;
    semaphore->signal();
  }
};

std::shared_ptr<VLEventStream> VLEventStream::make() { return std::shared_ptr<VLEventStream>(new VLEventStream()); }

VLEventStream::VLEventStream() : queue_(VLDispatchQueue::make("event-stream")) {}

void VLEventStream::onQueue(const std::function<void()>& body) const {
  if (queue_->isCurrent()) {
    body();
  } else {
    queue_->sync(body);
  }
}

void VLEventStream::addEvent(const VLEventRef& event) {
  if (!event) throw VLException("VLEventStream::addEvent: no event given");
  queue_->sync([&] {
    VLLog::debug("event@%ld: %@", static_cast<long>(events_.size()), event->type());
    if (traceSink_) {
      VLTraceRecord record(VLTraceKind::Event);
      record.set("streamID", traceID_)
          .set("stream", streamDescription_)
          .set("position", droppedEventCount_ + events_.size())
          .set("type", event->type())
          .set("item", VLValue(event->item()));
      traceSink_(std::move(record));
    }
    events_.push_back(event);
    // A waiter never leaves the list during this loop: removal is a later task of this queue.
    for (const auto& waiter : waiters_) waiter->see(event);
  });
}

VLEventRef VLEventStream::checkForMatchingEventWithTimeout(double timeout, uint64_t* timestamp, Predicate predicate) {
  VL_ASSERT(!queue_->isCurrent(), "checking event stream %@ from its own queue would deadlock", streamDescription_);
  auto waiter = std::make_shared<Waiter>();
  waiter->predicate = std::move(predicate);
  waiter->semaphore = VLSemaphore::make(0);

  // Scanning the history and joining the waiters in one task means no event is missed
  // or seen twice, whatever addEvent() does meanwhile.
  queue_->async([this, waiter] {
    for (const auto& event : events_) waiter->see(event);
    waiters_.push_back(waiter);
  });

  waiter->semaphore->wait(timeout);

  // The slot, not the wait's outcome, decides: a match landing just after the time-out counts.
  VLEventRef result;
  queue_->sync([&] {
    result = waiter->result;
    if (timestamp) {
      auto found = std::find(events_.begin(), events_.end(), result);
      uint64_t index = result && found != events_.end() ? static_cast<uint64_t>(found - events_.begin()) : kNotFound;
      *timestamp = index + droppedEventCount_;
    }
    waiters_.erase(std::remove(waiters_.begin(), waiters_.end(), waiter), waiters_.end());
  });
  return result;
}

void VLEventStream::dropEventsUntil(const VLEventRef& event) {
  queue_->sync([&] {
    auto found = std::find(events_.begin(), events_.end(), event);
    VL_ASSERT(event && found != events_.end(), "event %@ to drop until is not in stream %@", event, streamDescription_);
    auto count = static_cast<uint64_t>(found - events_.begin()) + 1;
    droppedEventCount_ += count;
    events_.erase(events_.begin(), found + 1);
  });
}

void VLEventStream::performWithEvents(const std::function<void(const std::vector<VLEventRef>& events)>& body) {
  queue_->sync([&] { body(events_); });
}

uint64_t VLEventStream::droppedEventCount() const {
  uint64_t count = 0;
  onQueue([&] { count = droppedEventCount_; });
  return count;
}

void VLEventStream::setTraceSink(uint64_t streamID, TraceSink sink) {
  onQueue([&] {
    traceID_ = streamID;
    traceSink_ = std::move(sink);
  });
}

uint64_t VLEventStream::traceID() const {
  uint64_t id = 0;
  onQueue([&] { id = traceID_; });
  return id;
}

std::string VLEventStream::streamDescription() const {
  std::string description;
  onQueue([&] { description = streamDescription_; });
  return description;
}

void VLEventStream::setStreamDescription(std::string description) {
  onQueue([&] { streamDescription_ = std::move(description); });
}

void VLEventStream::setSilenceNote(std::function<std::string()> note) {
  onQueue([&] { silenceNote_ = std::move(note); });
}

std::string VLEventStream::silenceNote() const {
  std::function<std::string()> note;
  onQueue([&] { note = silenceNote_; });
  // Off the queue: the source takes its own locks, which may be held by a thread that is
  // waiting to append.
  return note ? note() : std::string();
}
