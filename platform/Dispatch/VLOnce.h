// VLOnce: runs a piece of work exactly once, however many threads ask at the same time;
// every caller returns after the work has run.
#pragma once

#include <functional>
#include <mutex>

class VLOnce {
 public:
  // Runs `work` if no call has run it yet; otherwise waits for that run to finish.
  void perform(const std::function<void()>& work) { std::call_once(flag_, work); }

 private:
  std::once_flag flag_;
};
