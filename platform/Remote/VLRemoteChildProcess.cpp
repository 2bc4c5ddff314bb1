#include "Remote/VLRemoteChildProcess.h"

#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "Core/VLException.h"
#include "Core/VLLog.h"
#include "Remote/VLProviderProtocolError.h"

extern char** environ;

namespace {

const size_t kKeptErrorLines = 5;
const size_t kLongestErrorLine = 4096;
const double kExitGrace = 5.0, kTermGrace = 2.0, kEndWait = 2.0;
// Without /proc, a process that exits closes its output a moment before it can be reaped;
// this long is allowed for that moment.
const double kExitAfterOutputEnds = 0.2;

enum class Liveness { Running, Exiting, Unknown };

// Whether process `pid` (our unreaped child) is running or on its way out, from the kernel's
// own record: a process closes its files only after it is marked as exiting (PF_EXITING), so
// once its output has ended this tells an exit from output closed by a running process
// without any timing.
Liveness livenessOf(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  if (!file || !std::getline(file, text)) return Liveness::Unknown;
  size_t close = text.rfind(')');  // the command name may hold spaces and parentheses
  if (close == std::string::npos) return Liveness::Unknown;
  std::istringstream fields(text.substr(close + 1));
  char state = 0;
  long long ppid, group, session, tty, terminalGroup;
  unsigned long long flags = 0;
  if (!(fields >> state >> ppid >> group >> session >> tty >> terminalGroup >> flags)) return Liveness::Unknown;
  const unsigned long long kExitingFlag = 0x4;  // PF_EXITING
  if (state == 'Z' || state == 'X' || (flags & kExitingFlag)) return Liveness::Exiting;
  return Liveness::Running;
}

std::string baseName(const std::string& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Whether `program` (a file name) is a script interpreter: sh, bash, python3.11, node, ….
bool isInterpreter(const std::string& program) {
  static const char* const kInterpreters[] = {"sh",   "bash", "dash", "zsh",  "ksh", "python", "node",   "nodejs",
                                              "deno", "bun",  "perl", "ruby", "php", "lua",    "Rscript"};
  size_t end = program.find_first_of("0123456789.");
  std::string stem = program.substr(0, end == 0 ? std::string::npos : end);
  for (const char* name : kInterpreters) {
    if (stem == name) return true;
  }
  return false;
}

// The name a provider goes by in the log and in errors: its program's file name, or, for a
// script run through an interpreter, the script's file name (the first later word that is
// not an option and names an existing regular file).
std::string providerName(const std::vector<std::string>& words) {
  std::string program = baseName(words[0]);
  if (!isInterpreter(program)) return program;
  for (size_t i = 1; i < words.size(); ++i) {
    if (words[i].empty() || words[i][0] == '-') continue;
    struct stat info {};
    if (::stat(words[i].c_str(), &info) == 0 && S_ISREG(info.st_mode)) return baseName(words[i]);
  }
  return program;
}

// Waits up to `seconds` for `fd` to become readable (or hung up); returns whether it did.
bool pollReadable(int fd, double seconds) {
  pollfd entry{fd, POLLIN, 0};
  auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    int ready = ::poll(&entry, 1, static_cast<int>(std::max<int64_t>(0, left.count())));
    if (ready > 0) return true;
    if (ready == 0) return false;
    if (errno != EINTR) return false;
  }
}

}  // namespace

std::vector<std::string> VLRemoteChildProcess::splitCommandLine(const std::string& commandLine) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  for (size_t i = 0; i < commandLine.size(); ++i) {
    char c = commandLine[i];
    if (c == ' ' || c == '\t' || c == '\n') {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
      continue;
    }
    inWord = true;
    if (c == '\\') {
      if (++i == commandLine.size()) throw VLException("the command line ends in a lone backslash: " + commandLine);
      word += commandLine[i];
    } else if (c == '\'' || c == '"') {
      size_t close = i + 1;
      for (; close < commandLine.size() && commandLine[close] != c; ++close) {
        // Inside double quotes a backslash escapes the characters a shell lets it escape.
        if (c == '"' && commandLine[close] == '\\' && close + 1 < commandLine.size() &&
            std::strchr("\"\\$`", commandLine[close + 1])) {
          ++close;
        }
        word += commandLine[close];
      }
      if (close == commandLine.size()) {
        throw VLException(std::string("the command line has an unterminated ") + c + " quote: " + commandLine);
      }
      i = close;
    } else {
      word += c;
    }
  }
  if (inWord) words.push_back(word);
  return words;
}

std::unique_ptr<VLRemoteChildProcess> VLRemoteChildProcess::spawn(const std::string& commandLine) {
  std::vector<std::string> words;
  try {
    words = splitCommandLine(commandLine);
  } catch (const VLException& error) {
    throw VLProviderProtocolException(VLProviderProtocolErrorCannotStart,
                                      std::string("cannot start the provider: ") + error.what());
  }
  return spawn(words);
}

std::unique_ptr<VLRemoteChildProcess> VLRemoteChildProcess::spawn(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    throw VLProviderProtocolException(VLProviderProtocolErrorCannotStart,
                                      "cannot start the provider: the command line is empty");
  }
  std::vector<std::string> words = arguments;  // posix_spawnp takes writable strings
  ::signal(SIGPIPE, SIG_IGN);

  int input[2], output[2], errors[2];
  if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0 || ::pipe2(errors, O_CLOEXEC) != 0) {
    throw VLProviderProtocolException(VLProviderProtocolErrorCannotStart,
                                      std::string("cannot start the provider: pipe: ") + std::strerror(errno));
  }
  // A big pipe lets the provider write a whole page of a big enumeration while the host is
  // still parsing the previous one (the default holds 64 KB). Best effort: the system may cap it.
  ::fcntl(output[0], F_SETPIPE_SZ, 1 << 20);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], 0);
  posix_spawn_file_actions_adddup2(&actions, output[1], 1);
  posix_spawn_file_actions_adddup2(&actions, errors[1], 2);
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  int code = ::posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(input[0]);
  ::close(output[1]);
  ::close(errors[1]);
  if (code != 0) {
    ::close(input[1]);
    ::close(output[0]);
    ::close(errors[0]);
    throw VLProviderProtocolException(VLProviderProtocolErrorCannotStart,
                                      "cannot start the provider \"" + words[0] + "\": " + std::strerror(code));
  }
  return std::unique_ptr<VLRemoteChildProcess>(
      new VLRemoteChildProcess(pid, input[1], output[0], errors[0], providerName(words)));
}

VLRemoteChildProcess::VLRemoteChildProcess(pid_t pid, int input, int output, int errors, std::string name)
    : pid_(pid), stdin_(input), stdout_(output), stderr_(errors), name_(std::move(name)) {
  // Through syscall(): the C library header of this era declares pidfd_open without C linkage.
  pidfd_ = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
  int wake[2];
  if (::pipe2(wake, O_CLOEXEC) == 0) {
    wakeRead_ = wake[0];
    wakeWrite_ = wake[1];
  }
  errorThread_ = std::thread([this] { readErrors(); });
}

VLRemoteChildProcess::~VLRemoteChildProcess() {
  shutdown();
  ::close(stdout_);
  ::close(stderr_);
  if (pidfd_ >= 0) ::close(pidfd_);
  if (wakeRead_ >= 0) ::close(wakeRead_);
  if (wakeWrite_ >= 0) ::close(wakeWrite_);
}

void VLRemoteChildProcess::readErrors() {
  std::string pending;
  char buffer[4096];
  auto keep = [&](std::string line) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    VLLog::info("[%@] %@", name_, line);
    if (auto handler = errorHandler_.get()) handler(line);
    std::lock_guard lock(mutex_);
    lastLines_.push_back(std::move(line));
    if (lastLines_.size() > kKeptErrorLines) lastLines_.pop_front();
  };
  for (;;) {
    pollfd entries[2] = {{stderr_, POLLIN, 0}, {wakeRead_, POLLIN, 0}};
    if (::poll(entries, wakeRead_ >= 0 ? 2 : 1, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (entries[1].revents) break;
    ssize_t count = ::read(stderr_, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    pending.append(buffer, static_cast<size_t>(count));
    for (size_t end; (end = pending.find('\n')) != std::string::npos;) {
      keep(pending.substr(0, end));
      pending.erase(0, end + 1);
    }
    if (pending.size() > kLongestErrorLine) {
      keep(pending);
      pending.clear();
    }
  }
  if (!pending.empty()) keep(pending);
  std::lock_guard lock(mutex_);
  errorsDone_ = true;
  errorsEnded_.notify_all();
}

bool VLRemoteChildProcess::waitForExit(double seconds) {
  {
    std::lock_guard lock(mutex_);
    if (status_) return true;
  }
  if (pidfd_ >= 0 && !pollReadable(pidfd_, seconds)) return false;
  int status = 0;
  pid_t reaped = ::waitpid(pid_, &status, pidfd_ >= 0 ? 0 : WNOHANG);
  if (reaped != pid_) return false;
  std::lock_guard lock(mutex_);
  status_ = status;
  return true;
}

std::string VLRemoteChildProcess::describeStatus() const {
  std::lock_guard lock(mutex_);
  if (!status_) return "closed its standard output but is still running";
  if (WIFEXITED(*status_)) return "exited with status " + std::to_string(WEXITSTATUS(*status_));
  if (WIFSIGNALED(*status_)) {
    int signal = WTERMSIG(*status_);
    return "was killed by signal " + std::to_string(signal) + " (" + ::strsignal(signal) + ")";
  }
  return "ended";
}

std::string VLRemoteChildProcess::endReason() {
  // A process that goes on running is reported at once, with the last words it has written
  // so far: neither its exit nor the end of its standard error may ever come. One that is
  // exiting is waited for, as long as its exit takes.
  bool exited = waitForExit(0);
  if (!exited) {
    switch (livenessOf(pid_)) {
      case Liveness::Exiting: exited = waitForExit(kExitGrace); break;
      case Liveness::Running: break;
      case Liveness::Unknown: exited = waitForExit(kExitAfterOutputEnds); break;
    }
  }
  if (exited) {
    // Its last words may still be in the pipe; they end with the process.
    std::unique_lock lock(mutex_);
    errorsEnded_.wait_for(lock, std::chrono::duration<double>(kEndWait), [this] { return errorsDone_; });
  }
  std::string reason = describeStatus();
  auto lines = lastErrorLines();
  if (!lines.empty()) {
    reason += "; its last words on standard error:";
    for (const auto& line : lines) reason += " \u00ab" + line + "\u00bb";
  }
  return reason;
}

void VLRemoteChildProcess::shutdown() {
  {
    std::lock_guard lock(mutex_);
    if (shutDown_) return;
    shutDown_ = true;
  }
  ::close(stdin_);
  if (!waitForExit(kExitGrace)) {
    ::kill(pid_, SIGTERM);
    if (!waitForExit(kTermGrace)) {
      ::kill(pid_, SIGKILL);
      waitForExit(60);
    }
  }
  {
    std::unique_lock lock(mutex_);
    errorsEnded_.wait_for(lock, std::chrono::duration<double>(kEndWait), [this] { return errorsDone_; });
  }
  // A grandchild may still hold standard error open; stop reading it all the same.
  if (wakeWrite_ >= 0) {
    char byte = 1;
    [[maybe_unused]] ssize_t written = ::write(wakeWrite_, &byte, 1);
  }
  if (errorThread_.joinable()) errorThread_.join();
}

std::vector<std::string> VLRemoteChildProcess::lastErrorLines() const {
  std::lock_guard lock(mutex_);
  return std::vector<std::string>(lastLines_.begin(), lastLines_.end());
}
