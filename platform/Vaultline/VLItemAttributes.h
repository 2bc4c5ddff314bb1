// VLItemAttributes: every attribute of an item, as plain fields. A platform fills one and
// makes an immutable VLItem from it; VLItem::attributes() gives it back for a modified copy.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/VLData.h"
#include "Core/VLDate.h"
#include "Core/VLError.h"
#include "Core/VLValue.h"
#include "Vaultline/VLItemID.h"
#include "Vaultline/VLPersonNameComponents.h"
#include "Vaultline/VLProgress.h"
#include "Vaultline/VLTag.h"

struct VLItemAttributes {
  // identity
  std::string providerIdentifier;
  std::string providerID;
  std::string itemIdentifier;
  std::string parentItemIdentifier;
  std::shared_ptr<const VLItemID> formerItemID;
  // naming and type
  std::string filename;
  std::string displayName;
  std::string typeIdentifier;
  // shape
  bool isFolder = false;
  bool isContainer = false;
  std::optional<int64_t> childItemCount;
  std::optional<int64_t> documentSize;
  uint64_t capabilities = 0;
  // dates
  std::optional<VLDate> creationDate;
  std::optional<VLDate> contentModificationDate;
  std::optional<VLDate> lastUsedDate;
  // transfer state
  bool isCloudItem = false;
  bool downloaded = false;
  bool downloading = false;
  bool mostRecentVersionDownloaded = false;
  bool supportsMostRecentVersionDownloaded = false;
  bool uploaded = false;
  bool uploading = false;
  bool pending = false;
  bool offline = false;
  std::shared_ptr<const VLProgress> progress;
  std::shared_ptr<const VLProgress> downloadingProgress;
  std::shared_ptr<const VLProgress> uploadingProgress;
  VLErrorRef downloadingError;
  VLErrorRef uploadingError;
  // user state
  bool trashed = false;
  std::optional<int64_t> favoriteRank;
  std::vector<std::shared_ptr<const VLTag>> tags;
  std::optional<VLData> tagData;
  // sharing and ownership
  bool shared = false;
  bool sharedByCurrentUser = false;
  std::shared_ptr<const VLPersonNameComponents> ownerNameComponents;
  std::shared_ptr<const VLPersonNameComponents> mostRecentEditorNameComponents;
  // provider-specific
  std::optional<VLData> versionIdentifier;
  std::optional<VLValue::Dictionary> userInfo;
  std::optional<std::string> appContainerBundleIdentifier;
  std::optional<std::string> cloudContainerIdentifier;
};
