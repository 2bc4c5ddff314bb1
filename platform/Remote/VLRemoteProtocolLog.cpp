#include "Remote/VLRemoteProtocolLog.h"

#include <cerrno>
#include <cstring>

#include <nlohmann/json.hpp>

#include "Core/VLException.h"

std::shared_ptr<VLRemoteProtocolLog> VLRemoteProtocolLog::open(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (!file) throw VLException("cannot write the protocol log " + path + ": " + std::strerror(errno));
  return std::shared_ptr<VLRemoteProtocolLog>(new VLRemoteProtocolLog(path, file));
}

VLRemoteProtocolLog::~VLRemoteProtocolLog() { std::fclose(file_); }

void VLRemoteProtocolLog::record(Direction direction, std::string_view line, bool isJSON) {
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  std::string text = "{\"t\":" + nlohmann::json(seconds).dump() + ",\"direction\":\"" +
                     (direction == Direction::ToProvider ? "to-provider" : "from-provider") + "\",";
  if (isJSON) {
    // Spliced as it came: the message is one JSON value already, and may be big.
    text.append("\"message\":").append(line);
  } else {
    text += "\"malformed\":" +
            nlohmann::json(std::string(line)).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }
  text += "}\n";
  std::lock_guard lock(mutex_);
  std::fwrite(text.data(), 1, text.size(), file_);
  std::fflush(file_);
}
