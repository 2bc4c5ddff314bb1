#include "VLDirWatcher.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "Core/VLException.h"

namespace {
constexpr uint32_t kWatchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB |
                                IN_DELETE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW | IN_EXCL_UNLINK;
// The second half of a move usually comes in the same read; when it does not, this long is
// waited for it before the first half counts as a move out of the tree.
constexpr int kMovePairingMilliseconds = 20;
}  // namespace

std::unique_ptr<VLDirWatcher> VLDirWatcher::make(Handler handler) {
  int inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (inotify < 0) throw VLException(std::string("Cannot watch for changes: inotify: ") + std::strerror(errno));
  int wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (wake < 0) {
    close(inotify);
    throw VLException(std::string("Cannot watch for changes: eventfd: ") + std::strerror(errno));
  }
  return std::unique_ptr<VLDirWatcher>(new VLDirWatcher(inotify, wake, std::move(handler)));
}

VLDirWatcher::VLDirWatcher(int inotify, int wake, Handler handler)
    : inotify_(inotify), wake_(wake), handler_(std::move(handler)) {}

VLDirWatcher::~VLDirWatcher() {
  stop();
  close(inotify_);
  close(wake_);
}

int VLDirWatcher::add(const std::string& path) { return inotify_add_watch(inotify_, path.c_str(), kWatchMask); }

void VLDirWatcher::remove(int watch) { inotify_rm_watch(inotify_, watch); }

void VLDirWatcher::start() {
  if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
}

void VLDirWatcher::stop() {
  if (!thread_.joinable()) return;
  uint64_t one = 1;
  [[maybe_unused]] auto written = write(wake_, &one, sizeof one);
  thread_.join();
}

void VLDirWatcher::run() {
  std::vector<std::pair<uint32_t, VLDirChange>> halves;  // moves out, waiting for their way in
  for (;;) {
    pollfd fds[2] = {{inotify_, POLLIN, 0}, {wake_, POLLIN, 0}};
    int ready = poll(fds, 2, halves.empty() ? -1 : kMovePairingMilliseconds);
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0 || (fds[1].revents & POLLIN)) return;
    std::vector<VLDirChange> batch;
    if (ready == 0) {
      // No second half came: those items left the watched tree.
      for (auto& [cookie, change] : halves) batch.push_back(std::move(change));
      halves.clear();
    } else {
      read(batch, halves);
    }
    if (!batch.empty()) handler_(batch);
  }
}

void VLDirWatcher::read(std::vector<VLDirChange>& batch, std::vector<std::pair<uint32_t, VLDirChange>>& halves) {
  alignas(inotify_event) char buffer[64 * 1024];
  for (;;) {
    ssize_t length = ::read(inotify_, buffer, sizeof buffer);
    if (length <= 0) return;
    for (char* p = buffer; p < buffer + length;) {
      auto* event = reinterpret_cast<inotify_event*>(p);
      p += sizeof(inotify_event) + event->len;
      VLDirChange change;
      change.watch = event->wd;
      change.name = event->len ? std::string(event->name) : std::string();
      change.isDirectory = (event->mask & IN_ISDIR) != 0;
      if (event->mask & IN_Q_OVERFLOW) {
        change.kind = VLDirChange::Overflow;
        batch.push_back(change);
      } else if (event->mask & IN_IGNORED) {
        change.kind = VLDirChange::Gone;
        batch.push_back(change);
      } else if (event->mask & IN_MOVED_FROM) {
        change.kind = VLDirChange::Vanished;
        halves.emplace_back(event->cookie, change);
      } else if (event->mask & IN_MOVED_TO) {
        auto half = std::find_if(halves.begin(), halves.end(), [&](const auto& h) { return h.first == event->cookie; });
        if (half == halves.end()) {
          change.kind = VLDirChange::Appeared;
          batch.push_back(change);
        } else {
          VLDirChange move = half->second;
          move.kind = VLDirChange::Moved;
          move.toWatch = change.watch;
          move.toName = change.name;
          halves.erase(half);
          batch.push_back(move);
        }
      } else if (event->mask & IN_CREATE) {
        change.kind = VLDirChange::Appeared;
        batch.push_back(change);
      } else if (event->mask & IN_DELETE) {
        change.kind = VLDirChange::Vanished;
        batch.push_back(change);
      } else if (event->mask & (IN_CLOSE_WRITE | IN_ATTRIB)) {
        change.kind = VLDirChange::Changed;
        batch.push_back(change);
      }
    }
  }
}
