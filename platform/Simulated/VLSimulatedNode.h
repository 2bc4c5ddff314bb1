// VLSimulatedNode: one item of the simulated provider's tree, as the store keeps it.
//
// A plain record owned by VLSimulatedStore and touched only under the store's lock. Every
// change to what the item reports goes through VLSimulatedStore::touchLocked(), which
// bumps `revision` and drops the cached snapshot.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/VLDate.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLTag.h"

struct VLSimulatedNode {
  enum class Kind { Root, Folder, File, Package };

  std::string identifier;
  std::string parent;        // the trash container while trashed
  std::string trashedFrom;   // the parent it had before it was trashed
  std::string formerParent;  // the folder it last moved out of (only with the move-out-as-update quirk)
  std::string filename;
  Kind kind = Kind::File;
  std::string typeIdentifier;
  VLDate creationDate;
  VLDate modificationDate;
  std::optional<VLDate> lastUsedDate;
  std::optional<int64_t> favoriteRank;
  std::vector<std::shared_ptr<const VLTag>> tags;
  bool trashed = false;
  bool downloaded = true;  // the content is on disk at the item's path
  bool uploaded = false;
  bool uploading = false;
  bool shared = false;
  bool reportNotDownloaded = false;  // rename-marks-not-downloaded quirk
  int64_t reportedChildCount = 0;
  int64_t documentSize = 0;
  uint64_t contentVersion = 1;
  uint64_t revision = 1;
  VLItemRef snapshot;  // cached VLItem for `revision`, made on demand
  // A seeded item not on disk yet: made when its path is first used (a cache of the on-disk
  // state, hence mutable).
  mutable bool contentDeferred = false;

  bool isContainer() const { return kind == Kind::Root || kind == Kind::Folder; }
};
