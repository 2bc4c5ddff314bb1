// VLTraceExcerpt: the parts of a case's trace that reports show: the trace cut to a bound
// for files, and what a failed cursor check saw while it waited, for the line under it.
// Pure functions over a trace (a vector of records in order); safe from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Validations/VLTraceRecord.h"

class VLTraceExcerpt {
 public:
  // A trace cut to its first and last records.
  struct Bounded {
    std::vector<VLTraceRecord> head;  // the first records
    std::vector<VLTraceRecord> tail;  // the last records, after the ones left out
    size_t omitted = 0;               // how many records lay between the two
  };
  // Returns `trace` whole in `head` when it has at most `first` + `last` records; otherwise
  // its first `first` records, its last `last` records, and how many were left out.
  static Bounded bound(const std::vector<VLTraceRecord>& trace, size_t first, size_t last);
  // The same for a trace that was bounded while it was recorded: `omitted` records were left
  // out after its first `omittedAfter` (VLTraceRecorder::makeBounded).
  static Bounded bound(const std::vector<VLTraceRecord>& trace, size_t first, size_t last, size_t omittedAfter,
                       size_t omitted);

  // What one check saw.
  struct Seen {
    std::vector<const VLTraceRecord*> events;  // the last ones, oldest first, pointing into the trace
    size_t earlier = 0;                        // how many it saw before those
  };
  // Returns the events the check that ended at `trace[ended]` (a `check` record of phase
  // "ended") could match: those of its stream at or after the stream's front when it began,
  // appended before it ended. Keeps the last `limit`. Nothing for any other record.
  static Seen eventsSeenByCheck(const std::vector<VLTraceRecord>& trace, size_t ended, size_t limit);

  // Returns, in order, the indexes of the `check` records that ended without a match and
  // whose expectation reads `description` ("Expecting <what> on <stream>"), texts as
  // written (unmarked).
  static std::vector<size_t> failedChecksFor(const std::vector<VLTraceRecord>& trace, const std::string& description);
};
