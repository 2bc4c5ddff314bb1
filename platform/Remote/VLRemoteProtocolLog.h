// VLRemoteProtocolLog: a file that records every protocol line of a session in both directions,
// as a provider author reads a conversation when something went wrong: one JSON object per
// line, {"t": seconds since the log opened, "direction": "to-provider" or "from-provider",
// "message": the message as sent}. A line that is not JSON is kept as text instead
// ({"t", "direction", "malformed": "…"}), with bytes that are not UTF-8 replaced.
//
// Thread-safe: the connection's reader and writers record into one log; each record is
// written whole and flushed, so the file is complete up to the last message even when the
// run is interrupted.
#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

class VLRemoteProtocolLog {
 public:
  enum class Direction { ToProvider, FromProvider };

  // Creates (or truncates) the file at `path`. Throws VLException naming the path and the
  // reason when it cannot be written.
  static std::shared_ptr<VLRemoteProtocolLog> open(const std::string& path);
  ~VLRemoteProtocolLog();

  // Records one line (without its line feed). `isJSON` says whether the line parsed as JSON:
  // only then is it spliced in as the message itself.
  void record(Direction direction, std::string_view line, bool isJSON);

  const std::string& path() const { return path_; }

  VLRemoteProtocolLog(const VLRemoteProtocolLog&) = delete;
  VLRemoteProtocolLog& operator=(const VLRemoteProtocolLog&) = delete;

 private:
  VLRemoteProtocolLog(std::string path, std::FILE* file) : path_(std::move(path)), file_(file) {}

  const std::string path_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  std::FILE* file_;  // guarded by mutex_
};
