#include "Remote/VLRemoteConnection.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "Core/VLFormat.h"
#include "Core/VLLog.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLProviderProtocolError.h"
#include "Remote/VLRemoteMessage.h"

using nlohmann::json;

namespace {

const size_t kExcerpt = 200;

std::string excerpt(std::string_view line) {
  return line.size() <= kExcerpt ? std::string(line) : std::string(line.substr(0, kExcerpt)) + "…";
}

std::string seconds(double value) { return VLFormat("%g s", value); }

}  // namespace

VLErrorRef VLRemoteConnection::Answer::decode(const std::function<void(const VLRemoteJSONReader& result)>& read) const {
  if (error) return error;
  try {
    read(VLRemoteJSONReader(result, "result", streamedItems.get()));
  } catch (const VLRemoteJSONError& invalid) {
    if (onFault) onFault("answer to " + request + ": " + invalid.what());
    return vl_providerProtocolError(VLProviderProtocolErrorInvalidAnswer,
                                    "The provider's answer to " + request + " is not valid: " + invalid.what());
  }
  return nullptr;
}

std::shared_ptr<VLRemoteConnection> VLRemoteConnection::make(std::unique_ptr<VLRemoteTransport> transport) {
  return std::shared_ptr<VLRemoteConnection>(new VLRemoteConnection(std::move(transport)));
}

VLRemoteConnection::VLRemoteConnection(std::unique_ptr<VLRemoteTransport> transport)
    : transport_(std::move(transport)), name_(transport_->name()) {
  int wake[2];
  if (::pipe2(wake, O_CLOEXEC) == 0) {
    wakeRead_ = wake[0];
    wakeWrite_ = wake[1];
  }
  int fd = transport_->writeFD();
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

VLRemoteConnection::~VLRemoteConnection() {
  if (wakeRead_ >= 0) ::close(wakeRead_);
  if (wakeWrite_ >= 0) ::close(wakeWrite_);
}

void VLRemoteConnection::start(NotificationHandler notifications, EndHandler ended) {
  auto self = shared_from_this();
  std::lock_guard lock(mutex_);
  notifications_ = std::move(notifications);
  ended_ = std::move(ended);
  runningThreads_ = 3;
  std::thread reader([self] {
    self->readLoop();
    self->threadEnded();
  });
  std::thread writer([self] {
    self->writeLoop();
    self->threadEnded();
  });
  std::thread timer([self] {
    self->timerLoop();
    self->threadEnded();
  });
  readerID_ = reader.get_id();
  writerID_ = writer.get_id();
  timerID_ = timer.get_id();
  reader.detach();
  writer.detach();
  timer.detach();
}

void VLRemoteConnection::threadEnded() {
  std::lock_guard lock(mutex_);
  --runningThreads_;
  changed_.notify_all();
}

std::string VLRemoteConnection::describe(const std::string& method, int64_t id) const {
  return method + " (request " + std::to_string(id) + ")";
}

void VLRemoteConnection::call(const std::string& method, json params, double timeout, AnswerHandler handler) {
  VLErrorRef ended;
  std::string direct;
  {
    std::lock_guard lock(mutex_);
    ended = endError_;
    if (!ended) {
      const int64_t id = nextID_++;
      auto deadline =
          std::chrono::steady_clock::now() +
          std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(timeout));
      pending_[id] = Pending{method, deadline, timeout, std::move(handler)};
      // Deadlines mostly come in order, so the timer rarely needs waking for a new one.
      if (deadline < timerNext_) timerWake_.notify_one();
      // The request is pending before it is written, so that even an instant answer finds it.
      std::string line = VLRemoteMessage::requestLine(id, method, params);
      if (claimOrQueue(line)) direct = std::move(line);
    }
  }
  if (!direct.empty()) writeDirectly(std::move(direct));
  if (ended) {
    Answer answer{nullptr, ended, method + " (not sent)", {}, {}};
    VLBackgroundQueue::shared().async([handler = std::move(handler), answer] { handler(answer); });
  }
}

void VLRemoteConnection::notify(const std::string& method, json params) {
  send(VLRemoteMessage::notificationLine(method, params));
}

void VLRemoteConnection::send(std::string line) {
  {
    std::lock_guard lock(mutex_);
    if (endError_ || !claimOrQueue(line)) return;
  }
  writeDirectly(std::move(line));
}

bool VLRemoteConnection::claimOrQueue(std::string& line) {
  // Under mutex_, so the log has the lines in the order they go out.
  if (protocolLog_) {
    protocolLog_->record(VLRemoteProtocolLog::Direction::ToProvider, std::string_view(line).substr(0, line.size() - 1),
                         true);
  }
  if (writing_ || !outbox_.empty() || closing_) {
    outbox_.push_back(std::move(line));
    writerWake_.notify_one();
    return false;
  }
  writing_ = true;
  return true;
}

void VLRemoteConnection::writeDirectly(std::string line) {
  VLLog::debug("[%@] \u2190 %@", name_, excerpt(std::string_view(line).substr(0, line.size() - 1)));
  // One write without waiting (the descriptor does not block): what the transport does not
  // take now is the writer's, ahead of anything queued meanwhile.
  size_t written = 0;
  while (written < line.size()) {
    ssize_t count = ::write(transport_->writeFD(), line.data() + written, line.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno != EAGAIN) {
      // The reader sees the end of the provider's output and reports why.
      VLLog::debug("[%@] writing failed: %@", name_, std::strerror(errno));
      written = line.size();
    }
    if (count <= 0) break;
    written += static_cast<size_t>(count);
  }
  std::lock_guard lock(mutex_);
  writing_ = false;
  if (written < line.size() && !endError_) outbox_.push_front(line.substr(written));
  if (!outbox_.empty() || closing_) writerWake_.notify_one();
  if (closing_) changed_.notify_all();
}

VLErrorRef VLRemoteConnection::endError() const {
  std::lock_guard lock(mutex_);
  return endError_;
}

void VLRemoteConnection::answer(int64_t id, Answer answer) {
  AnswerHandler handler;
  {
    std::lock_guard lock(mutex_);
    auto found = pending_.find(id);
    if (found == pending_.end()) {
      VLLog::error(
          "The provider %@ answered request %@, which no request is waiting for (a late answer after its "
          "time-out, or a wrong id); the answer is ignored.",
          name_, id);
      return;
    }
    answer.request = describe(found->second.method, id);
    answer.onFault = faultHandler_;
    handler = std::move(found->second.handler);
    pending_.erase(found);
  }
  handler(std::move(answer));
}

bool VLRemoteConnection::end(VLErrorRef reason) {
  std::map<int64_t, Pending> failed;
  {
    std::lock_guard lock(mutex_);
    if (endError_) return false;
    endError_ = reason;
    failed.swap(pending_);
    outbox_.clear();
    wakeAll();
  }
  for (auto& [id, pending] : failed) pending.handler(Answer{nullptr, reason, describe(pending.method, id), {}, {}});
  return true;
}

void VLRemoteConnection::close() {
  end(vl_providerProtocolError(VLProviderProtocolErrorClosed,
                               "The session with the provider " + name_ + " was closed by the host."));
  {
    std::lock_guard lock(mutex_);
    if (closing_) return;
    closing_ = true;
    wakeAll();
  }
  wake();
  std::thread::id self = std::this_thread::get_id();
  std::unique_lock lock(mutex_);
  // The transport may close the writing side only once the writer and every caller writing
  // directly have let go of it.
  changed_.wait(lock, [this] { return (writerDone_ || runningThreads_ == 0) && !writing_; });
  lock.unlock();
  transport_->shutdown();
  lock.lock();
  bool onOwnThread = self == readerID_ || self == writerID_ || self == timerID_;
  changed_.wait(lock, [&] { return runningThreads_ <= (onOwnThread ? 1 : 0); });
}

void VLRemoteConnection::wakeAll() {
  writerWake_.notify_all();
  timerWake_.notify_all();
  changed_.notify_all();
}

void VLRemoteConnection::wake() {
  if (wakeWrite_ < 0) return;
  char byte = 1;
  [[maybe_unused]] ssize_t written = ::write(wakeWrite_, &byte, 1);
}

bool VLRemoteConnection::writeAll(int fd, const std::string& line) {
  const char* data = line.data();
  size_t left = line.size();
  while (left > 0) {
    // Waits for room without blocking in write(), so that close() can always stop the writer.
    pollfd entries[2] = {{fd, POLLOUT, 0}, {wakeRead_, POLLIN, 0}};
    if (::poll(entries, wakeRead_ >= 0 ? 2 : 1, -1) < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (entries[1].revents) return false;
    ssize_t written = ::write(fd, data, left);
    if (written < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (written <= 0) {
      // The reader sees the end of the provider's output and reports why.
      VLLog::debug("[%@] writing failed: %@", name_, std::strerror(errno));
      std::lock_guard lock(mutex_);
      outbox_.clear();
      return true;
    }
    data += written;
    left -= static_cast<size_t>(written);
  }
  return true;
}

void VLRemoteConnection::writeLoop() {
  int fd = transport_->writeFD();
  for (;;) {
    std::string line;
    {
      std::unique_lock lock(mutex_);
      // At close, what is queued is still written, after any caller's line in progress.
      writerWake_.wait(lock, [this] { return !writing_ && (!outbox_.empty() || closing_); });
      if (outbox_.empty()) break;
      line = std::move(outbox_.front());
      outbox_.pop_front();
      writing_ = true;
    }
    VLLog::debug("[%@] \u2190 %@", name_, excerpt(std::string_view(line).substr(0, line.size() - 1)));
    const bool wrote = writeAll(fd, line);
    std::lock_guard lock(mutex_);
    writing_ = false;
    if (closing_) changed_.notify_all();
    if (!wrote) break;
  }
  std::lock_guard lock(mutex_);
  writerDone_ = true;
  changed_.notify_all();
}

void VLRemoteConnection::timerLoop() {
  std::unique_lock lock(mutex_);
  while (!closing_) {
    auto now = std::chrono::steady_clock::now();
    std::vector<std::pair<int64_t, Pending>> expired;
    auto next = std::chrono::steady_clock::time_point::max();
    for (auto it = pending_.begin(); it != pending_.end();) {
      if (it->second.deadline <= now) {
        expired.emplace_back(it->first, std::move(it->second));
        it = pending_.erase(it);
      } else {
        next = std::min(next, it->second.deadline);
        ++it;
      }
    }
    if (!expired.empty()) {
      std::string note;
      if (malformedLines_ > 0) {
        note = VLFormat(" (it also sent %@ malformed line(s) that named no request; the last: %@)", malformedLines_,
                        lastMalformed_);
      }
      lock.unlock();
      for (auto& [id, pending] : expired) {
        auto error =
            vl_providerProtocolError(VLProviderProtocolErrorTimedOut, "The provider " + name_ + " did not answer " +
                                                                          describe(pending.method, id) + " within " +
                                                                          seconds(pending.timeout) + "." + note);
        pending.handler(Answer{nullptr, error, describe(pending.method, id), {}, {}});
      }
      lock.lock();
      continue;
    }
    timerNext_ = next;
    if (next == std::chrono::steady_clock::time_point::max()) {
      timerWake_.wait(lock);
    } else {
      timerWake_.wait_until(lock, next);
    }
  }
}

void VLRemoteConnection::readLoop() {
  int fd = transport_->readFD();
  std::string buffer;
  size_t scanned = 0;       // the buffer's first bytes hold no line feed: a long line is scanned once
  bool discarding = false;  // inside a line that was too long
  char chunk[65536];
  for (;;) {
    pollfd entries[2] = {{fd, POLLIN, 0}, {wakeRead_, POLLIN, 0}};
    if (::poll(entries, wakeRead_ >= 0 ? 2 : 1, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (entries[1].revents) break;
    ssize_t count = ::read(fd, chunk, sizeof chunk);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0) break;
    buffer.append(chunk, static_cast<size_t>(count));
    size_t start = 0;
    for (size_t end; (end = buffer.find('\n', std::max(start, scanned))) != std::string::npos; start = end + 1) {
      if (discarding) {
        discarding = false;
        continue;
      }
      handleLine(std::string_view(buffer).substr(start, end - start));
    }
    buffer.erase(0, start);
    scanned = buffer.size();
    if (buffer.size() > VLRemoteMessage::kMaximumLineLength && !discarding) {
      handleLine(buffer);  // reported as too long
      discarding = true;
    }
    if (discarding) {
      buffer.clear();
      scanned = 0;
    }
  }
  bool closing;
  {
    std::lock_guard lock(mutex_);
    closing = closing_;
  }
  if (closing) return;
  auto reason = vl_providerProtocolError(VLProviderProtocolErrorGone,
                                         "The provider " + name_ + " " + transport_->endReason() + ".");
  VLLog::error("%@", reason->localizedDescription());
  if (end(reason) && ended_) ended_(reason);
}

void VLRemoteConnection::handleLine(std::string_view line) {
  if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
  VLLog::debug("[%@] \u2192 %@", name_, excerpt(line));
  VLRemoteMessage message;
  try {
    message = VLRemoteMessage::parse(line, true);
    if (protocolLog_) protocolLog_->record(VLRemoteProtocolLog::Direction::FromProvider, line, true);
  } catch (const VLRemoteMalformedMessage& malformed) {
    if (protocolLog_) protocolLog_->record(VLRemoteProtocolLog::Direction::FromProvider, line, malformed.isJSON());
    if (faultHandler_) faultHandler_(std::string("a malformed line: ") + malformed.what());
    if (malformed.id()) {
      std::string method;
      {
        std::lock_guard lock(mutex_);
        auto found = pending_.find(*malformed.id());
        if (found != pending_.end()) method = found->second.method;
      }
      if (!method.empty()) {
        answer(*malformed.id(),
               Answer{nullptr,
                      vl_providerProtocolError(VLProviderProtocolErrorMalformed,
                                               "The provider's answer to " + describe(method, *malformed.id()) +
                                                   " is malformed: " + malformed.what()),
                      "",
                      {},
                      {}});
        return;
      }
    }
    VLLog::error("The provider %@ sent a malformed line: %@; the line begins: %@", name_, malformed.what(),
                 excerpt(line));
    std::lock_guard lock(mutex_);
    ++malformedLines_;
    lastMalformed_ = std::string(malformed.what()) + " \u00ab" + excerpt(line) + "\u00bb";
    return;
  }
  switch (message.kind) {
    case VLRemoteMessage::Kind::Request:
      VLLog::error("The provider %@ sent the request %@; providers send no requests.", name_, message.method);
      send(VLRemoteMessage::errorLine(message.id, VLRemoteMethodNotFound,
                                      "the host answers no requests (\"" + message.method + "\")"));
      return;
    case VLRemoteMessage::Kind::Notification:
      if (notifications_) notifications_(message.method, message.body());
      return;
    case VLRemoteMessage::Kind::Result:
      answer(*message.integerID(), Answer{std::move(message.result), nullptr, "", {}, std::move(message.streamedItems)});
      return;
    case VLRemoteMessage::Kind::Error: {
      auto id = message.integerID();
      if (!id) {
        VLLog::error("The provider %@ reported an error about no request: %@ (JSON-RPC error %@)", name_,
                     message.errorMessage, message.errorCode);
        return;
      }
      std::string method;
      {
        std::lock_guard lock(mutex_);
        auto found = pending_.find(*id);
        method = found == pending_.end() ? "a request" : found->second.method;
      }
      auto error = vl_providerProtocolError(VLProviderProtocolErrorRejected,
                                            VLFormat("The provider %@ rejected %@: %@ (JSON-RPC error %@)", name_,
                                                     describe(method, *id), message.errorMessage, message.errorCode));
      answer(*id, Answer{nullptr, error, "", {}, {}});
      return;
    }
  }
}
