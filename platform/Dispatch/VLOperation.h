// VLOperation: one unit of work that an operation queue runs.
//
// start() runs main(). A synchronous operation is finished when main() returns; an
// asynchronous one (isAsynchronous() true) is finished when it calls finish(), from any
// thread, later. An operation whose main() throws completes with an error through its own
// callbacks (see reportFailure()) and is finished. Finishing happens once; observers
// registered with whenFinished() are called once, on the finishing thread. Made by
// factories; neither copyable nor movable.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "Core/VLError.h"
#include "Core/VLObject.h"

class VLOperation : public VLObject, public std::enable_shared_from_this<VLOperation> {
 public:
  // Runs the operation once; a second start() does nothing. If main() throws, the operation
  // reports the failure through reportFailure() and is finished; only an operation that has
  // no way to report it passes the exception on to the caller.
  void start();

  bool isExecuting() const;
  bool isFinished() const;

  // Calls `observer` once when the operation finishes (at once if it already has).
  void whenFinished(std::function<void()> observer);

  VLOperation(const VLOperation&) = delete;
  VLOperation& operator=(const VLOperation&) = delete;

 protected:
  VLOperation() = default;

  // The operation's work. Runs on the thread that called start().
  virtual void main() = 0;
  // True when main() only begins the work and finish() comes later.
  virtual bool isAsynchronous() const { return false; }
  // Marks the operation finished and calls the finish observers; later calls do nothing.
  void finish();
  // Called when main() threw, with an error naming the operation and the exception. An
  // operation that has completion callbacks completes them with `error` and returns true;
  // the default returns false, and start() rethrows.
  virtual bool reportFailure(const VLErrorRef& /*error*/) { return false; }

 private:
  mutable std::mutex mutex_;
  bool started_ = false;                          // guarded by mutex_
  bool finished_ = false;                         // guarded by mutex_
  std::vector<std::function<void()>> observers_;  // guarded by mutex_
};

// VLBlockOperation: a synchronous operation that runs one callback.
class VLBlockOperation : public VLOperation {
 public:
  static std::shared_ptr<VLBlockOperation> make(std::function<void()> block);

 protected:
  void main() override { block_(); }

 private:
  explicit VLBlockOperation(std::function<void()> block) : block_(std::move(block)) {}
  std::function<void()> block_;
};
