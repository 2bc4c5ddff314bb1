// ActionRecordingPlatform: a minimal platform double whose item manager completes every
// scheduled action later, on a background thread, with the error the test chose (or leaves
// it pending for ever). Everything else answers "not supported".
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "Vaultline/Vaultline.h"

class ActionRecordingPlatform : public VLPlatform, public std::enable_shared_from_this<ActionRecordingPlatform> {
 public:
  // Makes the platform and installs it as the current one.
  static std::shared_ptr<ActionRecordingPlatform> install();

  // The error the next actions complete with (none = success).
  void setCompletionError(VLErrorRef error);
  // When set, actions never complete.
  void setNeverComplete(bool never);
  // Returns the actions scheduled so far.
  std::vector<std::shared_ptr<VLActionOperation>> scheduled();

  std::shared_ptr<VLItemManager> defaultItemManager() override;
  bool offers(VLPlatformCapability) const override { return true; }
  void getVaultlineServicesForItemAtURL(const VLURL&, VLServicesCompletion completion) override;
  bool checkPromisedItemIsReachable(const VLURL&, VLErrorRef*) override { return false; }
  const VLTypeDatabase& typeDatabase() const override { return types_; }

  class Manager;

 private:
  std::mutex mutex_;
  VLErrorRef error_;                                         // guarded by mutex_
  bool never_ = false;                                       // guarded by mutex_
  std::vector<std::shared_ptr<VLActionOperation>> actions_;  // guarded by mutex_
  std::shared_ptr<VLItemManager> manager_;
  VLTypeDatabase types_;
  friend class Manager;
};
