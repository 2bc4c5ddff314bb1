// VLSimulatedActionRunner: carries out the simulated provider's actions for real: it
// changes the store's tree, moves bytes on disk and publishes every change to the
// observing collections. New items come in through its VLSimulatedImporter.
//
// Each perform…() runs under the store's lock, on the service queue, and returns the
// completion to run afterwards on a completion thread (never under the lock). The runner
// is shared by the item manager, the validation service and pending uploads; made by
// make(); thread-safe because all its work happens under the store's lock.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Core/VLError.h"
#include "Simulated/VLSimulatedImporter.h"
#include "Simulated/VLSimulatedStore.h"
#include "Vaultline/VLActionOperation.h"

class VLSimulatedActionRunner : public std::enable_shared_from_this<VLSimulatedActionRunner> {
 public:
  using Later = VLSimulatedImporter::Later;

  static std::shared_ptr<VLSimulatedActionRunner> make(std::shared_ptr<VLSimulatedStore> store, Later later);

  // Carries out `action`; returns the call that completes it.
  std::function<void()> perform(const std::shared_ptr<VLActionOperation>& action);
  // Drops the local copy of one file (the validation service's eviction).
  VLErrorRef evict(const std::string& identifier);
  // Marks one item shared (the validation service's sharing).
  VLErrorRef share(const std::string& identifier);
  // Brings the content of the item at `path` onto disk if it is an evicted file of this
  // provider. Returns false, with an error, when the content cannot be had.
  bool materialize(const std::string& path, VLErrorRef* error);

  const std::shared_ptr<VLSimulatedStore>& store() const { return store_; }

 private:
  VLSimulatedActionRunner(std::shared_ptr<VLSimulatedStore> store, std::shared_ptr<VLSimulatedImporter> importer)
      : store_(std::move(store)), importer_(std::move(importer)) {}

  std::function<void()> performLocked(const std::shared_ptr<VLActionOperation>& action);
  VLErrorRef renameLocked(const class VLRenameOperation& action);
  std::function<void()> moveLocked(const std::shared_ptr<class VLMoveOperation>& action);
  // Applies `apply` to the node of every item that resolves, in order; returns the first
  // error, whether from resolving an item or from `apply`. Every item is attempted.
  VLErrorRef forEachNodeLocked(const std::vector<VLItemRef>& items,
                               const std::function<VLErrorRef(VLSimulatedNode& node, size_t index)>& apply);
  VLErrorRef trashLocked(const std::vector<VLItemRef>& items);
  VLErrorRef untrashLocked(const std::vector<VLItemRef>& items, const VLItemRef& restoreDirectory);
  VLErrorRef deleteLocked(const std::vector<VLItemRef>& items);
  std::function<void()> downloadLocked(const std::shared_ptr<class VLDownloadOperation>& action);
  VLErrorRef evictLocked(VLSimulatedNode& node);

  // Moves `node` (and its bytes) under `parent` as `name`.
  VLErrorRef reparentLocked(VLSimulatedNode& node, const std::string& parent, const std::string& name);

  const std::shared_ptr<VLSimulatedStore> store_;
  const std::shared_ptr<VLSimulatedImporter> importer_;
};
