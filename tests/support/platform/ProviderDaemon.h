// ProviderDaemon: runs `vlprovider-sim --socket PATH SETTINGS` for a test, as a provider
// daemon on a fresh socket path, and stops it (SIGTERM, or a signal of the test's choosing).
// The constructor returns once the daemon says it listens: it reads the daemon's standard
// error until then, so no test waits on a sleep.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

extern char** environ;

namespace support {

class ProviderDaemon {
 public:
  // `program` is the built vlprovider-sim; `settings` its settings, comma-separated ("" for none).
  ProviderDaemon(const std::string& program, const std::string& settings) {
    path_ = (std::filesystem::temp_directory_path() /
             ("vlprovider-" + std::to_string(::getpid()) + "-" + std::to_string(++counter_) + ".sock"))
                .string();
    int errors[2];
    EXPECT_EQ(::pipe(errors), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, errors[1], 2);
    posix_spawn_file_actions_addclose(&actions, errors[0]);
    std::vector<std::string> words = {program, "--socket", path_};
    if (!settings.empty()) words.push_back(settings);
    std::vector<char*> argv;
    for (auto& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    EXPECT_EQ(::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    ::close(errors[1]);
    std::string said;
    char byte;
    while (said.find("listening on") == std::string::npos && ::read(errors[0], &byte, 1) == 1) said += byte;
    EXPECT_NE(said.find("listening on"), std::string::npos) << said;
    ::close(errors[0]);
  }
  ~ProviderDaemon() { kill(SIGTERM); }
  ProviderDaemon(const ProviderDaemon&) = delete;
  ProviderDaemon& operator=(const ProviderDaemon&) = delete;

  // Sends `signal` and reaps the daemon.
  void kill(int signal) {
    if (pid_ <= 0) return;
    ::kill(pid_, signal);
    ::waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }
  const std::string& path() const { return path_; }

 private:
  static inline int counter_ = 0;
  pid_t pid_ = 0;
  std::string path_;
};

}  // namespace support
