// ScriptedProvider: the provider end of a socket pair, driven line by line by a test, so that
// every fault a provider process can show (malformed lines, wrong ids, missing fields,
// silence, an early end) can be staged against the host. Waits are bounded by poll()
// time-outs, so a host that never sends fails the test instead of hanging it.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "Remote/VLRemotePlatform.h"
#include "Remote/VLRemoteSocket.h"
#include "support/Await.h"
#include "support/SimulatedHarness.h"

namespace remotetest {

using nlohmann::json;

inline constexpr int kWaitMilliseconds = 20000;  // only reached when something is broken

class ScriptedProvider {
 public:
  ScriptedProvider() {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    fd_ = ends[0];
    host_ = ends[1];
  }
  ~ScriptedProvider() { hangUp(); }

  // The host's end, for VLRemotePlatform::open().
  std::unique_ptr<VLRemoteTransport> transport() { return VLRemoteSocket::adopt(host_, "fake"); }

  // Returns the next message the host sent, or null when none came in time.
  json next() {
    for (;;) {
      size_t end = buffer_.find('\n');
      if (end != std::string::npos) {
        std::string line = buffer_.substr(0, end);
        buffer_.erase(0, end + 1);
        return json::parse(line);
      }
      pollfd entry{fd_, POLLIN, 0};
      if (::poll(&entry, 1, kWaitMilliseconds) <= 0) return nullptr;
      char chunk[4096];
      ssize_t count = ::read(fd_, chunk, sizeof chunk);
      if (count <= 0) return nullptr;
      buffer_.append(chunk, static_cast<size_t>(count));
    }
  }
  // Returns the next request, skipping notifications unless `method` names one.
  json expect(const std::string& method) {
    for (json message = next(); !message.is_null(); message = next()) {
      if (message.value("method", "") == method) return message;
    }
    ADD_FAILURE() << "the host never sent " << method;
    return nullptr;
  }
  void sendLine(const std::string& line) {
    std::string text = line + "\n";
    EXPECT_EQ(::write(fd_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void answer(const json& request, const json& result) {
    sendLine(json{{"jsonrpc", "2.0"}, {"id", request["id"]}, {"result", result}}.dump());
  }
  void notify(const std::string& method, const json& params) {
    sendLine(json{{"jsonrpc", "2.0"}, {"method", method}, {"params", params}}.dump());
  }
  // Ends the provider's side (as if its process had exited).
  void hangUp() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

  // Opens a platform over this provider, answering the handshake with `result` (or the
  // standard one). Returns the platform, or none when opening threw (the message in `error`).
  std::shared_ptr<VLRemotePlatform> open(const json& result = nullptr, std::string* error = nullptr,
                                         VLRemotePlatform::Options options = {}) {
    auto opening =
        std::async(std::launch::async, [this, options] { return VLRemotePlatform::open(transport(), options); });
    json request = expect("initialize");
    if (!request.is_null()) answer(request, result.is_null() ? standardGreeting() : result);
    try {
      return opening.get();
    } catch (const VLProviderProtocolException& failure) {
      if (error) *error = failure.what();
      return nullptr;
    }
  }
  // Has the host ask for the root item and answers it, which proves that the host has handled
  // every line sent before. Returns the other messages the host sent ahead of that request.
  std::vector<json> fence(const std::shared_ptr<VLRemotePlatform>& platform) {
    std::vector<json> others;
    std::thread asking([&] {
      vl_await<bool>([&](auto reply) {
        platform->defaultItemManager()->fetchRootItemForProvider(platform->provider(),
                                                                 [reply](VLItemRef, VLErrorRef) { reply(true); });
      });
    });
    for (json message = next(); !message.is_null(); message = next()) {
      if (message.value("method", "") == "items.root") {
        answer(message, {{"item", item("root", 1)}});
        break;
      }
      others.push_back(message);
    }
    asking.join();
    return others;
  }
  static json standardGreeting() {
    return {{"protocolVersion", 1},
            {"provider", {{"identifier", "org.example.fake"}, {"providerIdentifier", "org.example.fake"}}}};
  }
  static json item(const std::string& identifier, double modified,
                   const std::string& parent = "KsVaultlineRootContainerItemIdentifier") {
    return {{"itemIdentifier", identifier},
            {"parentItemIdentifier", parent},
            {"filename", identifier + ".txt"},
            {"typeIdentifier", "public.plain-text"},
            {"contentModificationDate", modified}};
  }

 private:
  int fd_ = -1;
  int host_ = -1;
  std::string buffer_;
};

// A collection delegate that also keeps the errors it is told about.
class ErrorRecorder : public simtest::Recorder {
 public:
  void collectionDidEncounterError(VLItemCollection& collection, const VLErrorRef& error) override {
    {
      std::lock_guard lock(mutex_);
      errors_.push_back(error);
    }
    Recorder::collectionDidEncounterError(collection, error);
  }
  std::vector<VLErrorRef> errors() {
    std::lock_guard lock(mutex_);
    return errors_;
  }

 private:
  std::mutex mutex_;
  std::vector<VLErrorRef> errors_;
};

}  // namespace remotetest
