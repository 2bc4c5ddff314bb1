// VLDirWatcher: the kernel's inotify events of a set of folders, read on a thread of its
// own and handed on in batches, with the two halves of a move paired by their cookie.
//
// Made by make(), started by start(), and stopped by stop() or the destructor, which wait
// for a batch in progress: no handler call starts after they return. add() and remove() may
// be called from any thread, including from inside the handler.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// One thing that happened in a watched folder. Folders are named by their watch.
struct VLDirChange {
  enum Kind {
    Appeared,  // `name` was created in, or moved into, `watch` from outside the watched tree
    Vanished,  // `name` was deleted from, or moved out of, `watch` to outside the watched tree
    Moved,     // `name` in `watch` is now `toName` in `toWatch`
    Changed,   // the content or attributes of `name` in `watch` changed
    Overflow,  // the kernel dropped events: whatever was watched must be looked at again
    Gone,      // the watched folder `watch` itself was deleted; the watch is over
  };
  Kind kind = Changed;
  int watch = -1;
  std::string name;
  int toWatch = -1;
  std::string toName;
  bool isDirectory = false;
};

class VLDirWatcher {
 public:
  using Handler = std::function<void(const std::vector<VLDirChange>&)>;

  // Makes a watcher that hands each batch to `handler` on the watcher's thread. Throws
  // VLException when the kernel gives no inotify instance.
  static std::unique_ptr<VLDirWatcher> make(Handler handler);
  ~VLDirWatcher();
  VLDirWatcher(const VLDirWatcher&) = delete;
  VLDirWatcher& operator=(const VLDirWatcher&) = delete;

  // Watches the folder at `path` (not following a symbolic link); returns its watch, the
  // same one for a folder already watched, or -1 (errno set) when it cannot.
  int add(const std::string& path);
  // Stops watching; a watch that is already over is ignored.
  void remove(int watch);
  // Starts reading events.
  void start();
  // Stops reading and waits for the thread; idempotent.
  void stop();

 private:
  VLDirWatcher(int inotify, int wake, Handler handler);
  void run();
  void read(std::vector<VLDirChange>& batch, std::vector<std::pair<uint32_t, VLDirChange>>& halves);

  int inotify_;
  int wake_;
  Handler handler_;
  std::thread thread_;
};
