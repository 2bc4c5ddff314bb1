// ProviderProcess: the built vlprovider-dir as a child process on pipes, spoken to in the
// provider protocol by the test. Waits on the pipe (poll) with a generous bound, never on
// sleeps, so a provider that stays silent fails the test instead of hanging it.
#pragma once

#include <gtest/gtest.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <deque>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "support/TestTimes.h"

extern char** environ;

class ProviderProcess {
 public:
  using json = nlohmann::json;

  // Starts `program ROOT` and makes the handshake.
  ProviderProcess(const std::string& program, const std::string& root) {
    int in[2], out[2];
    EXPECT_EQ(::pipe2(in, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(out, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    std::vector<std::string> words = {program, root};
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    EXPECT_EQ(::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    input_ = in[1];
    output_ = out[0];
    auto answer = request("initialize", {{"protocolVersion", 1}, {"host", {{"name", "test"}, {"processID", 1}}}});
    EXPECT_EQ(answer.value("protocolVersion", 0), 1) << answer.dump();
  }
  ~ProviderProcess() { stop(); }
  ProviderProcess(const ProviderProcess&) = delete;
  ProviderProcess& operator=(const ProviderProcess&) = delete;

  // Ends the session as the host does (end of input) and returns the exit status.
  int stop() {
    if (pid_ <= 0) return status_;
    ::close(input_);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    ::close(output_);
    pid_ = -1;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return status_;
  }

  // Sends a request and returns its result; notifications that come first are kept.
  json request(const std::string& method, const json& params) {
    int id = ++lastID_;
    json message = {{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}};
    std::string line = message.dump() + "\n";
    EXPECT_EQ(::write(input_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    for (;;) {
      json next = read();
      if (next.is_null()) return json();
      if (next.contains("id") && next["id"] == id) return next.value("result", json());
      notifications_.push_back(std::move(next));
    }
  }

  // Waits for a notification for which `accept` holds, dropping the others before it; null
  // when none came in time.
  json waitFor(const std::function<bool(const json&)>& accept) {
    for (;;) {
      while (!notifications_.empty()) {
        json next = std::move(notifications_.front());
        notifications_.pop_front();
        if (accept(next)) return next;
      }
      json next = read();
      if (next.is_null()) return json();
      if (!next.contains("id")) notifications_.push_back(std::move(next));
    }
  }

 private:
  json read() {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(kPatience);
    for (;;) {
      size_t end = buffer_.find('\n');
      if (end != std::string::npos) {
        std::string line = buffer_.substr(0, end);
        buffer_.erase(0, end + 1);
        return json::parse(line);
      }
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      pollfd fd{output_, POLLIN, 0};
      if (left.count() <= 0 || ::poll(&fd, 1, static_cast<int>(left.count())) <= 0) {
        ADD_FAILURE() << "the provider said nothing in time";
        return json();
      }
      char chunk[65536];
      ssize_t length = ::read(output_, chunk, sizeof chunk);
      if (length <= 0) {
        ADD_FAILURE() << "the provider closed its output";
        return json();
      }
      buffer_.append(chunk, static_cast<size_t>(length));
    }
  }

  pid_t pid_ = -1;
  int status_ = -1;
  int input_ = -1;
  int output_ = -1;
  int lastID_ = 0;
  std::string buffer_;
  std::deque<json> notifications_;
};
