// VLSimulatedImporter: brings new items into the simulated provider: copies of local files,
// folder trees and packages, and new folders; and uploads new files after the upload
// latency (uploading, then uploaded, with a server copy kept for later downloads).
//
// Its ...Locked functions run under the store's lock, on the service queue, and return the
// completion to run afterwards on a completion thread. Made by make(); shared by the
// action runner and pending uploads.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "Simulated/VLSimulatedStore.h"
#include "Vaultline/VLCopyOperation.h"
#include "Vaultline/VLCreateFolderOperation.h"

class VLSimulatedImporter : public std::enable_shared_from_this<VLSimulatedImporter> {
 public:
  // Runs a task on the service queue after a delay.
  using Later = std::function<void(std::chrono::microseconds delay, std::function<void()> task)>;

  static std::shared_ptr<VLSimulatedImporter> make(std::shared_ptr<VLSimulatedStore> store, Later later);

  std::function<void()> copyLocked(const std::shared_ptr<VLCopyOperation>& action);
  std::function<void()> createFolderLocked(const std::shared_ptr<VLCreateFolderOperation>& action);

 private:
  VLSimulatedImporter(std::shared_ptr<VLSimulatedStore> store, Later later)
      : store_(std::move(store)), later_(std::move(later)) {}
  // Imports the file, package or folder tree at `source` into `parent` as `name`.
  VLSimulatedNode* importLocked(const std::string& source, const std::string& parent, const std::string& name,
                                VLErrorRef* error);
  void scheduleUploadLocked(VLSimulatedNode& node);
  void finishUpload(const std::string& identifier);

  const std::shared_ptr<VLSimulatedStore> store_;
  const Later later_;
};
