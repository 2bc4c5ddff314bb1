#include "vlvalidate/VLInterruptWatcher.h"

#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <thread>

#include "vlvalidate/VLExitCode.h"

namespace {

struct Watcher {
  std::mutex mutex;
  VLInterruptWatcher::Handler handler;  // guarded by mutex
  int count = 0;                        // guarded by mutex
};

Watcher& watcher() {
  static Watcher* shared = new Watcher;  // never destroyed: the waiting thread outlives main()
  return *shared;
}

sigset_t watchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

}  // namespace

void VLInterruptWatcher::install() {
  sigset_t set = watchedSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  std::thread([set] {
    while (true) {
      int signal = 0;
      if (sigwait(&set, &signal) != 0) continue;
      Handler handler;
      int count;
      {
        auto& shared = watcher();
        std::lock_guard lock(shared.mutex);
        handler = shared.handler;
        count = ++shared.count;
      }
      if (!handler) {
        std::cout.flush();
        std::fflush(nullptr);
        std::_Exit(vl_interruptedExitCode(signal));
      }
      handler(signal, count);
    }
  }).detach();
}

void VLInterruptWatcher::setHandler(Handler handler) {
  auto& shared = watcher();
  std::lock_guard lock(shared.mutex);
  shared.handler = std::move(handler);
  shared.count = 0;
}
