// VLActionOperation: the base of every action on a provider's items (copy, rename, trash…).
//
// An action is made, optionally given completion callbacks, and handed to an item manager's
// scheduleAction() (or added to an operation queue, which hands it to the default item
// manager). The platform ends it exactly once with completeWithError(), on a service
// thread: the subclass's own completion runs first, then whatever actionCompletionBlock is
// set at that moment, then the operation is finished. Work that throws completes the action
// with an error naming the exception. The completion block may be read and replaced from
// any thread before the action completes.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Core/VLError.h"
#include "Dispatch/VLOperation.h"
#include "Vaultline/VLItem.h"

class VLActionOperation : public VLOperation {
 public:
  using ActionCompletionBlock = std::function<void(VLErrorRef error)>;

  ActionCompletionBlock actionCompletionBlock() const;
  void setActionCompletionBlock(ActionCompletionBlock block);

  // Whether the validation expects this action to fail (read once, when it is scheduled
  // through the validator's item manager). False unless set.
  bool expectedToFail() const;
  void setExpectedToFail(bool expected);

  // Returns the class name and the action's arguments, e.g.
  // "VLRenameOperation(item: Report.txt id:42, newName: Draft.txt)".
  std::string description() const override;

  // For platforms: ends the action with `error` (none on success). Only the first call
  // has an effect.
  void completeWithError(VLErrorRef error);
  // Returns whether the action has been completed.
  bool isCompleted() const;

 protected:
  VLActionOperation() = default;

  // The arguments part of description(), without parentheses.
  virtual std::string argumentsDescription() const = 0;
  // Calls the subclass's own completion callback, if it has one.
  virtual void callOwnCompletion(const VLErrorRef& /*error*/) {}
  // Hands the action to the default item manager (used when run by an operation queue).
  void main() override;
  bool isAsynchronous() const override { return true; }
  // Completes the action with `error` (when main() threw).
  bool reportFailure(const VLErrorRef& error) override;

  // Returns "name id:identifier, …" for a list of items (for argumentsDescription()).
  static std::string describeItems(const std::vector<VLItemRef>& items);

  mutable std::mutex mutex_;  // guards the fields of this class and of subclasses that say so

 private:
  ActionCompletionBlock completionBlock_;  // guarded by mutex_
  bool expectedToFail_ = false;            // guarded by mutex_
  bool completed_ = false;                 // guarded by mutex_
};
