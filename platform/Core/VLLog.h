// VLLog: the one process-wide log.
//
// Every line begins with its level word ("[DEBUG] ", "[ERROR] ", "[CRIT] "), which the
// level functions add. Debug lines are off until a runner turns them on; the runner also
// chooses the sink (standard error by default). All functions are safe from any thread;
// the sink is called under a lock, one line at a time.
#pragma once

#include <functional>
#include <string>

#include "Core/VLFormat.h"

enum class VLLogLevel { Debug, Info, Error, Fault };

class VLLog {
 public:
  using Sink = std::function<void(VLLogLevel level, const std::string& line)>;

  // Replaces the sink; an empty sink restores the standard-error sink.
  static void setSink(Sink sink);
  static void setDebugEnabled(bool enabled);
  static bool isDebugEnabled();

  // Writes `line` as it stands (it already carries its level word).
  static void write(VLLogLevel level, const std::string& line);

  // Formats and writes "[DEBUG] …"; formats nothing while debug lines are off.
  template <class... Args>
  static void debug(const char* format, const Args&... args) {
    if (isDebugEnabled()) write(VLLogLevel::Debug, "[DEBUG] " + VLFormat(format, args...));
  }
  // Formats and writes "[INFO] …".
  template <class... Args>
  static void info(const char* format, const Args&... args) {
    write(VLLogLevel::Info, "[INFO] " + VLFormat(format, args...));
  }
  // Formats and writes "[ERROR] …".
  template <class... Args>
  static void error(const char* format, const Args&... args) {
    write(VLLogLevel::Error, "[ERROR] " + VLFormat(format, args...));
  }
  // Formats and writes "[CRIT] …" at fault level.
  template <class... Args>
  static void fault(const char* format, const Args&... args) {
    write(VLLogLevel::Fault, "[CRIT] " + VLFormat(format, args...));
  }
};

// Logs "[CRIT] <text>" at fault level and stops the process. For programming errors only.
[[noreturn]] void vl_assertionFailure(const std::string& text);

// Stops the process with "[CRIT] [ASSERT] ‼️ <formatted text>" unless `condition` holds.
#define VL_ASSERT(condition, ...)                                                          \
  do {                                                                                     \
    if (!(condition)) ::vl_assertionFailure("[ASSERT] ‼️ " + ::VLFormat(__VA_ARGS__)); \
  } while (0)
