#include "Validations/VLTraceExcerpt.h"

#include <algorithm>

VLTraceExcerpt::Bounded VLTraceExcerpt::bound(const std::vector<VLTraceRecord>& trace, size_t first, size_t last) {
  Bounded bounded;
  if (trace.size() <= first + last) {
    bounded.head = trace;
    return bounded;
  }
  bounded.head.assign(trace.begin(), trace.begin() + static_cast<std::ptrdiff_t>(first));
  bounded.tail.assign(trace.end() - static_cast<std::ptrdiff_t>(last), trace.end());
  bounded.omitted = trace.size() - first - last;
  return bounded;
}

VLTraceExcerpt::Bounded VLTraceExcerpt::bound(const std::vector<VLTraceRecord>& trace, size_t first, size_t last,
                                              size_t omittedAfter, size_t omitted) {
  if (omitted == 0) return bound(trace, first, last);
  // The kept records are two runs; each is cut again to the bound asked for now.
  Bounded bounded;
  size_t gap = std::min(omittedAfter, trace.size());
  size_t head = std::min(first, gap);
  size_t tail = std::min(last, trace.size() - gap);
  bounded.head.assign(trace.begin(), trace.begin() + static_cast<std::ptrdiff_t>(head));
  bounded.tail.assign(trace.end() - static_cast<std::ptrdiff_t>(tail), trace.end());
  bounded.omitted = omitted + (gap - head) + (trace.size() - gap - tail);
  return bounded;
}

VLTraceExcerpt::Seen VLTraceExcerpt::eventsSeenByCheck(const std::vector<VLTraceRecord>& trace, size_t ended,
                                                       size_t limit) {
  Seen seen;
  if (ended >= trace.size()) return seen;
  const VLTraceRecord& end = trace[ended];
  if (end.kind() != VLTraceKind::Check || end.text("phase") != "ended") return seen;
  const VLValue& id = end.value("id");
  const VLValue& stream = end.value("streamID");
  const VLTraceRecord* began = nullptr;
  for (size_t i = ended; i-- > 0 && !began;) {
    const VLTraceRecord& record = trace[i];
    if (record.kind() == VLTraceKind::Check && record.value("id") == id) began = &record;
  }
  if (!began) return seen;
  const uint64_t front = began->value("from").unsignedValue();
  std::vector<const VLTraceRecord*> all;
  for (size_t i = 0; i < ended; ++i) {
    const VLTraceRecord& record = trace[i];
    if (record.kind() == VLTraceKind::Event && record.value("streamID") == stream &&
        record.value("position").unsignedValue() >= front) {
      all.push_back(&record);
    }
  }
  const size_t kept = std::min(limit, all.size());
  seen.earlier = all.size() - kept;
  seen.events.assign(all.end() - static_cast<std::ptrdiff_t>(kept), all.end());
  return seen;
}

std::vector<size_t> VLTraceExcerpt::failedChecksFor(const std::vector<VLTraceRecord>& trace,
                                                    const std::string& description) {
  std::vector<size_t> found;
  for (size_t i = 0; i < trace.size(); ++i) {
    const VLTraceRecord& record = trace[i];
    if (record.kind() != VLTraceKind::Check || record.text("phase") != "ended") continue;
    if (record.text("outcome") == "matched") continue;
    if ("Expecting " + record.text("waitingFor") + " on " + record.text("stream") == description) found.push_back(i);
  }
  return found;
}
