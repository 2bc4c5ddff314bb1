#include "vlvalidate/VLLiveEventLog.h"

uint64_t VLLiveEventLog::append(std::string name, std::string data) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (closed_) return lastID_;
  events_.push_back({++lastID_, std::move(name), std::move(data)});
  changed_.notify_all();
  return lastID_;
}

void VLLiveEventLog::restart() {
  std::lock_guard<std::mutex> lock(mutex_);
  events_.clear();
}

std::vector<VLLiveEventLog::Event> VLLiveEventLog::waitAfter(uint64_t after, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait_for(lock, timeout, [&] { return closed_ || (!events_.empty() && events_.back().id > after); });
  std::vector<Event> found;
  if (closed_) return found;
  for (const auto& event : events_) {
    if (event.id > after) found.push_back(event);
  }
  return found;
}

void VLLiveEventLog::close() {
  std::lock_guard<std::mutex> lock(mutex_);
  closed_ = true;
  changed_.notify_all();
}

bool VLLiveEventLog::isClosed() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return closed_;
}

std::string VLLiveEventLog::frame(const Event& event) {
  // The data is one line of JSON (dumped without indentation), so one "data:" line holds it.
  return "id: " + std::to_string(event.id) + "\nevent: " + event.name + "\ndata: " + event.data + "\n\n";
}
