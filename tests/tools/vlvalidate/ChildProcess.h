// Runs the built vlvalidate program as a child process with pipes on its standard output
// and error, for the end-to-end tests. Waits on the pipes (poll), never on sleeps, with a
// generous bound so that a hung child fails the test instead of hanging it.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

extern char** environ;

namespace e2e {

struct Result {
  int status = -1;  // exit status, or 128 + signal
  std::string out;
  std::string err;
};

class Child {
 public:
  // Starts vlvalidate with `arguments`; `environment` adds or replaces variables (GTEST_*
  // variables of this test program are never passed on unless given here).
  explicit Child(const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment = {}) {
    std::vector<std::string> env;
    for (char** entry = environ; *entry; ++entry) {
      std::string text = *entry;
      std::string name = text.substr(0, text.find('='));
      if (name.rfind("GTEST_", 0) == 0 || environment.count(name)) continue;
      env.push_back(text);
    }
    for (const auto& [name, value] : environment) env.push_back(name + "=" + value);
    std::vector<std::string> argv = {VLVALIDATE_PATH};
    argv.insert(argv.end(), arguments.begin(), arguments.end());

    int out[2], err[2];
    EXPECT_EQ(pipe(out), 0);
    EXPECT_EQ(pipe(err), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    posix_spawn_file_actions_addclose(&actions, err[0]);
    auto pointers = [](std::vector<std::string>& strings) {
      std::vector<char*> list;
      for (auto& each : strings) list.push_back(each.data());
      list.push_back(nullptr);
      return list;
    };
    auto argvPointers = pointers(argv);
    auto envPointers = pointers(env);
    EXPECT_EQ(posix_spawn(&pid_, argv[0].c_str(), &actions, nullptr, argvPointers.data(), envPointers.data()), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    out_ = out[0];
    err_ = err[0];
  }

  ~Child() {
    if (out_ >= 0) close(out_);
    if (err_ >= 0) close(err_);
    if (pid_ > 0 && !reaped_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }

  // Reads until `until` holds for the standard output read so far or both pipes close.
  // Returns whether `until` held.
  bool readUntil(const std::function<bool(const std::string& out)>& until, double seconds = 120) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (out_ >= 0 || err_ >= 0) {
      if (until && until(result_.out)) return true;
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) {
        ADD_FAILURE() << "vlvalidate did not finish in time; output so far:\n" << result_.out << result_.err;
        return false;
      }
      pollfd fds[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
      if (poll(fds, 2, static_cast<int>(left.count())) < 0) continue;
      drain(fds[0], out_, result_.out);
      drain(fds[1], err_, result_.err);
    }
    return until && until(result_.out);
  }

  void signal(int number) { kill(pid_, number); }
  pid_t pid() const { return pid_; }

  // Reads everything and waits for the child to end.
  Result finish() {
    readUntil({});
    int status = 0;
    waitpid(pid_, &status, 0);
    reaped_ = true;
    result_.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result_;
  }

 private:
  static void drain(const pollfd& fd, int& descriptor, std::string& into) {
    if (descriptor < 0 || !(fd.revents & (POLLIN | POLLHUP | POLLERR))) return;
    char buffer[65536];
    ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count > 0) {
      into.append(buffer, static_cast<size_t>(count));
    } else {
      close(descriptor);
      descriptor = -1;
    }
  }

  pid_t pid_ = -1;
  int out_ = -1;
  int err_ = -1;
  bool reaped_ = false;
  Result result_;
};

// Runs vlvalidate to its end.
inline Result run(const std::vector<std::string>& arguments,
                  const std::map<std::string, std::string>& environment = {}) {
  return Child(arguments, environment).finish();
}

}  // namespace e2e
