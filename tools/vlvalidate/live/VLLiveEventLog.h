// VLLiveEventLog: the live UI's events, in order and numbered, as the server-sent event
// streams hand them to the pages: the current run's events are kept, so a page that connects
// (or reconnects) late first gets what it missed. A new run starts the log afresh, keeping
// the numbering, so a reconnecting page never receives an event twice.
//
// Thread-safe: writers are the run's callbacks (the validation queues, the trace, the
// scheduler's report queue); readers are the server's stream threads, which wait on the
// log's condition for the next event, never on a timer alone. Neither copyable nor movable.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

class VLLiveEventLog {
 public:
  // One event: its number (from 1), its name ("case", "expectation", …) and its JSON text.
  struct Event {
    uint64_t id = 0;
    std::string name;
    std::string data;
  };

  VLLiveEventLog() = default;
  VLLiveEventLog(const VLLiveEventLog&) = delete;
  VLLiveEventLog& operator=(const VLLiveEventLog&) = delete;

  // Appends an event and wakes every waiting reader; returns its number. Ignored once closed.
  uint64_t append(std::string name, std::string data);
  // Forgets the kept events (a new run begins); numbers go on from where they were.
  void restart();
  // Returns the kept events numbered above `after`, waiting up to `timeout` for one when
  // there is none yet. Returns at once, perhaps with nothing, once the log is closed.
  std::vector<Event> waitAfter(uint64_t after, std::chrono::milliseconds timeout);
  // Ends every stream: waiting readers wake, and nothing more is appended.
  void close();
  bool isClosed() const;

  // Returns `event` as one server-sent event ("id: …\nevent: …\ndata: …\n\n").
  static std::string frame(const Event& event);

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Event> events_;  // guarded by mutex_
  uint64_t lastID_ = 0;       // guarded by mutex_
  bool closed_ = false;       // guarded by mutex_
};
