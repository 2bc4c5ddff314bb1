// VLRemoteChildProcess: a provider started as a child process that speaks the protocol on
// its standard input and output.
//
// Its standard error is read on a thread of its own, line by line, into the log as
// "[INFO] [name] line"; the last few lines are kept to explain a failure. Starting it makes
// the process ignore SIGPIPE, so that writing to a provider that has gone reports an error
// instead of killing the host. The destructor ends the process as shutdown() does.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Dispatch/VLGuarded.h"
#include "Remote/VLRemoteTransport.h"

class VLRemoteChildProcess : public VLRemoteTransport {
 public:
  // Splits a command line into words as a POSIX shell does with quotes ('…', "…") and
  // backslashes, and nothing else. Throws VLException for an unterminated quote or escape.
  static std::vector<std::string> splitCommandLine(const std::string& commandLine);
  // Starts the program named by the first word (searched in PATH when it has no slash).
  // It is named by its file name, or, when that is a script interpreter (sh, python3, node,
  // …), by the file name of the script it runs, if a later word names an existing file.
  // Throws VLProviderProtocolException (VLProviderProtocolErrorCannotStart) with the reason.
  static std::unique_ptr<VLRemoteChildProcess> spawn(const std::string& commandLine);
  // Starts the program as above with `words` as its arguments, exactly as given (no quoting
  // or splitting on the way).
  static std::unique_ptr<VLRemoteChildProcess> spawn(const std::vector<std::string>& words);
  ~VLRemoteChildProcess() override;

  int readFD() const override { return stdout_; }
  int writeFD() const override { return stdin_; }
  std::string name() const override { return name_; }
  // Says how the process ended ("exited with status 3", "was killed by signal 9 (…)"),
  // quoting its last lines of standard error, or, when the kernel shows it neither exiting
  // nor exited, that it closed its standard output but is still running. Called once its
  // output has ended; it waits for an exit under way, never for a process that runs on.
  std::string endReason() override;
  // Closes the provider's standard input, waits up to five seconds for it to exit, then sends
  // SIGTERM and, two seconds later, SIGKILL.
  void shutdown() override;
  void setStandardErrorHandler(std::function<void(const std::string& line)> handler) override {
    errorHandler_.set(std::move(handler));
  }

  pid_t pid() const { return pid_; }
  // Returns the last lines (at most five) the provider wrote to standard error.
  std::vector<std::string> lastErrorLines() const;

 private:
  VLRemoteChildProcess(pid_t pid, int input, int output, int errors, std::string name);
  void readErrors();
  // Waits up to `seconds` for the process to exit and reaps it; returns whether it has.
  bool waitForExit(double seconds);
  std::string describeStatus() const;

  const pid_t pid_;
  const int stdin_, stdout_, stderr_;
  const std::string name_;
  int pidfd_ = -1;
  int wakeRead_ = -1, wakeWrite_ = -1;  // wakes the standard-error thread at shutdown
  std::thread errorThread_;

  mutable std::mutex mutex_;
  std::condition_variable errorsEnded_;
  std::deque<std::string> lastLines_;  // guarded by mutex_
  bool errorsDone_ = false;            // guarded by mutex_
  std::optional<int> status_;          // guarded by mutex_: the wait status once reaped
  bool shutDown_ = false;              // guarded by mutex_
  VLGuarded<std::function<void(const std::string& line)>> errorHandler_;  // set after the error reader started
};
