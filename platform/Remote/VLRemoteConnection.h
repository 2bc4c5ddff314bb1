// VLRemoteConnection: one session of the provider protocol over a transport: requests in
// flight at once, answered in any order, each bounded by a time-out; notifications in both
// directions; and the provider's faults turned into errors on the requests concerned.
//
// Three threads of its own: a reader (answers and notifications, in line order), a writer
// (so that a provider that stops reading never blocks a caller) and a timer (time-outs). A
// line that the transport takes at once is written by the caller itself, which saves a
// thread hand-off on every request; what it does not take goes to the writer.
// Once the provider has gone (end of its output) or the host has closed the session, every
// pending request and every later one fails at once with that reason. The threads keep the
// connection alive until close() has ended them; whoever owns it must call close().
// All functions are thread-safe.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include <nlohmann/json.hpp>

#include "Core/VLError.h"
#include "Remote/VLRemoteJSONReader.h"
#include "Remote/VLRemoteProtocolLog.h"
#include "Remote/VLRemoteTransport.h"

class VLRemoteConnection : public std::enable_shared_from_this<VLRemoteConnection> {
 public:
  // The outcome of one request: a result object, or an error of VLProviderProtocolErrorDomain.
  struct Answer {
    nlohmann::json result;
    VLErrorRef error;
    std::string request;  // "actions.copy (request 12)", for messages about the answer
    // Told the reason when decode() finds the answer invalid (the connection's fault handler).
    std::function<void(const std::string& reason)> onFault;
    // The result's item lists, decoded while its line was read (VLRemoteStreamParser).
    std::shared_ptr<VLRemoteStreamedItems> streamedItems;

    // Returns the answer's error, or runs `read` over the result and returns none, or, when
    // `read` throws VLRemoteJSONError, an invalid-answer error naming the request and field.
    VLErrorRef decode(const std::function<void(const VLRemoteJSONReader& result)>& read) const;
  };
  // Takes the answer by value, so that a handler that keeps it moves the result, never copies it.
  using AnswerHandler = std::function<void(Answer answer)>;
  // `params` finds the item lists decoded while the line was read (VLRemoteStreamParser).
  using NotificationHandler = std::function<void(const std::string& method, const VLRemoteJSONReader& params)>;
  using EndHandler = std::function<void(const VLErrorRef& reason)>;

  static std::shared_ptr<VLRemoteConnection> make(std::unique_ptr<VLRemoteTransport> transport);
  ~VLRemoteConnection();

  // Starts the threads. Notifications go to `notifications` on the reader thread, in the
  // order they arrived; `ended` is called once, when the provider has gone (not after close()).
  void start(NotificationHandler notifications, EndHandler ended);
  // Records every line sent and received from now on into `log` (call before start()).
  void setProtocolLog(std::shared_ptr<VLRemoteProtocolLog> log) { protocolLog_ = std::move(log); }
  // Calls `handler` with the reason of every message the provider got wrong: a malformed
  // line, or an answer that decode() finds invalid (call before start()).
  void setFaultHandler(std::function<void(const std::string& reason)> handler) { faultHandler_ = std::move(handler); }
  // Sends a request. `handler` is called exactly once: on the reader thread with the answer,
  // on the timer thread when `timeout` seconds pass first, or on a background thread when the
  // session has already ended. Handlers must be quick and must not block.
  void call(const std::string& method, nlohmann::json params, double timeout, AnswerHandler handler);
  // Sends a notification (dropped once the session has ended).
  void notify(const std::string& method, nlohmann::json params);
  // Ends the session: stops writing, shuts the transport down, ends the threads (except the
  // calling one, if it is one of them) and fails what is pending. Idempotent.
  void close();

  // Returns why the session ended, or none while it is open.
  VLErrorRef endError() const;
  const std::string& name() const { return name_; }

  VLRemoteConnection(const VLRemoteConnection&) = delete;
  VLRemoteConnection& operator=(const VLRemoteConnection&) = delete;

 private:
  struct Pending {
    std::string method;
    std::chrono::steady_clock::time_point deadline;
    double timeout = 0;
    AnswerHandler handler;
  };

  explicit VLRemoteConnection(std::unique_ptr<VLRemoteTransport> transport);
  void readLoop();
  void writeLoop();
  void timerLoop();
  void handleLine(std::string_view line);
  void answer(int64_t id, Answer answer);
  // Records the end (first reason wins) and fails everything pending; returns whether this
  // call ended the session.
  bool end(VLErrorRef reason);
  // Sends a line, by the calling thread when the transport is free, else by the writer.
  void send(std::string line);
  // Under mutex_: queues `line` for the writer, or claims the transport for the calling thread
  // (returns true; the caller then calls writeDirectly()).
  bool claimOrQueue(std::string& line);
  // The part of send() after the caller has claimed the transport (writing_ set).
  void writeDirectly(std::string line);
  // Writes one line; returns false when close() woke the writer first.
  bool writeAll(int fd, const std::string& line);
  void wake();
  // Under mutex_: wakes every thread that waits on a condition (the end or close() has begun).
  void wakeAll();
  void threadEnded();
  std::string describe(const std::string& method, int64_t id) const;

  const std::unique_ptr<VLRemoteTransport> transport_;
  const std::string name_;
  std::shared_ptr<VLRemoteProtocolLog> protocolLog_;             // set before start(), then read only
  std::function<void(const std::string& reason)> faultHandler_;  // set before start(), then read only
  int wakeRead_ = -1, wakeWrite_ = -1;                           // wakes the reader and the writer at close()

  mutable std::mutex mutex_;
  // Three conditions, so that a request wakes no thread that has nothing to do with it.
  std::condition_variable writerWake_;  // the outbox has a line, or closing
  std::condition_variable timerWake_;   // a deadline earlier than timerNext_, or closing
  std::condition_variable changed_;     // writerDone_, writing_ or runningThreads_ changed (close() waits)
  NotificationHandler notifications_;   // set once by start()
  EndHandler ended_;                    // set once by start()
  std::map<int64_t, Pending> pending_;  // guarded by mutex_
  int64_t nextID_ = 1;                  // guarded by mutex_
  std::deque<std::string> outbox_;      // guarded by mutex_
  VLErrorRef endError_;                 // guarded by mutex_
  bool closing_ = false;                // guarded by mutex_: close() has begun
  bool writerDone_ = false;             // guarded by mutex_
  bool writing_ = false;                // guarded by mutex_: a thread is writing to the transport
  // guarded by mutex_: when the timer thread wakes next (max while no request is pending)
  std::chrono::steady_clock::time_point timerNext_ = std::chrono::steady_clock::time_point::max();
  int runningThreads_ = 0;                         // guarded by mutex_
  std::thread::id readerID_, writerID_, timerID_;  // set by start()
  size_t malformedLines_ = 0;                      // guarded by mutex_: lines that named no request
  std::string lastMalformed_;                      // guarded by mutex_
};
