// VLInterruptWatcher: turns SIGINT and SIGTERM into calls on an ordinary thread, so that an
// interrupted run can stop cleanly and still report what finished.
//
// install() must be called first thing in main(), before any thread exists: it blocks both
// signals in the calling thread (every later thread inherits that) and starts one thread
// that waits for them. Each signal calls the current handler with the signal and how many
// have come so far; without a handler the process ends at once with status 128 + signal.
// Process-wide; thread-safe.
#pragma once

#include <functional>

class VLInterruptWatcher {
 public:
  using Handler = std::function<void(int signal, int count)>;

  // Blocks SIGINT and SIGTERM and starts the waiting thread. Call once, before threads.
  static void install();
  // Replaces the handler (an empty one restores "end the process") and starts counting
  // signals from zero. The handler runs on the waiting thread; it must return promptly.
  static void setHandler(Handler handler);
};
