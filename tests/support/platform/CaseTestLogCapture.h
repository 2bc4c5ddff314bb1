// CaseTestLogCapture: collects the log lines written while it exists (from any thread) and
// silences the log again when it goes away.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Core/VLLog.h"

class CaseTestLogCapture {
 public:
  CaseTestLogCapture() {
    auto lines = lines_;
    VLLog::setSink([lines](VLLogLevel, const std::string& line) {
      std::lock_guard lock(lines->mutex);
      lines->text.push_back(line);
    });
  }
  ~CaseTestLogCapture() {
    VLLog::setSink([](VLLogLevel, const std::string&) {});
  }
  CaseTestLogCapture(const CaseTestLogCapture&) = delete;
  CaseTestLogCapture& operator=(const CaseTestLogCapture&) = delete;

  std::vector<std::string> lines() const {
    std::lock_guard lock(lines_->mutex);
    return lines_->text;
  }

 private:
  struct Lines {
    std::mutex mutex;
    std::vector<std::string> text;
  };
  std::shared_ptr<Lines> lines_ = std::make_shared<Lines>();
};
