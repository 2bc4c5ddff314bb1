#include "Core/VLLog.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {
// Never destroyed: other threads may still log while the process exits.
std::mutex& sinkMutex() {
  static auto& mutex = *new std::mutex;
  return mutex;
}
VLLog::Sink& sink() {
  static auto& current = *new VLLog::Sink;
  return current;
}
std::atomic<bool> debugEnabled{false};
}  // namespace

void VLLog::setSink(Sink newSink) {
  std::lock_guard lock(sinkMutex());
  sink() = std::move(newSink);
}

void VLLog::setDebugEnabled(bool enabled) { debugEnabled.store(enabled, std::memory_order_relaxed); }

bool VLLog::isDebugEnabled() { return debugEnabled.load(std::memory_order_relaxed); }

void VLLog::write(VLLogLevel level, const std::string& line) {
  std::lock_guard lock(sinkMutex());
  if (sink()) {
    sink()(level, line);
  } else {
    std::fprintf(stderr, "%s\n", line.c_str());
  }
}

void vl_assertionFailure(const std::string& text) {
  VLLog::fault("%@", text);
  std::fflush(stderr);
  std::abort();
}
