// VLExpectedItem: a sparse description of what an item should look like.
//
// It has the attributes of a VLItem, but only those a validation has set count: every
// setter records its key in expectedKeys(), even when the value is the default, and the
// matcher compares exactly those keys. A new expected item already expects pending = false,
// so placeholders in flight never match unless a validation asks for them. A plain value
// (copyable); built and read on one validation's thread, not shared while being configured.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
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

// Returns the setter name of `key`: "set", the key with its first character upper-cased,
// and ":" ("filename" gives "setFilename:").
std::string vl_setterFromKey(const std::string& key);
// Returns the key that the setter `setter` records: the fourth character lower-cased, the
// rest unchanged, the trailing ":" dropped ("setTagData:" gives "tagData"). Stops the
// process when the name does not begin with "set".
std::string vl_keyFromSetter(const std::string& setter);

class VLExpectedItem {
 public:
  using Tags = std::vector<std::shared_ptr<const VLTag>>;

  // Makes an expected item whose only expected key is "pending", set to false.
  VLExpectedItem();

  // Returns the keys set so far; the set only grows.
  const std::set<std::string>& expectedKeys() const { return expectedKeys_; }

  // Returns the attribute named `key` as the matcher reads it: booleans and capabilities
  // as numbers, tags as an array of VLTag objects, attributes never set as none (booleans
  // as false, capabilities as 0). An unknown key reads as none.
  VLValue valueForKey(const std::string& key) const;
  // Returns every key that valueForKey() knows; the same key strings as VLItem::keys().
  static const std::vector<std::string>& keys();

  // Store the value and record the key named after the setter. Passing none (std::nullopt,
  // nullptr) records the key too, and then no candidate can match it.
  void setProviderIdentifier(std::optional<std::string> value);
  void setItemIdentifier(std::optional<std::string> value);
  void setParentItemIdentifier(std::optional<std::string> value);
  void setFilename(std::optional<std::string> value);
  void setDisplayName(std::optional<std::string> value);
  void setTypeIdentifier(std::optional<std::string> value);
  void setDocumentSize(std::optional<int64_t> value);
  void setCreationDate(std::optional<VLDate> value);
  void setContentModificationDate(std::optional<VLDate> value);
  void setFavoriteRank(std::optional<int64_t> value);
  void setLastUsedDate(std::optional<VLDate> value);
  void setTagData(std::optional<VLData> value);
  void setChildItemCount(std::optional<int64_t> value);
  void setProgress(std::shared_ptr<const VLProgress> value);
  void setUploadingError(VLErrorRef value);
  void setDownloadingError(VLErrorRef value);
  void setOwnerNameComponents(std::shared_ptr<const VLPersonNameComponents> value);
  void setMostRecentEditorNameComponents(std::shared_ptr<const VLPersonNameComponents> value);
  void setVersionIdentifier(std::optional<VLData> value);
  void setUserInfo(std::optional<VLValue::Dictionary> value);
  void setTags(Tags value);
  void setAppContainerBundleIdentifier(std::optional<std::string> value);
  void setCloudContainerIdentifier(std::optional<std::string> value);
  void setFormerItemID(std::shared_ptr<const VLItemID> value);

  void setPending(bool value);
  void setOffline(bool value);
  void setDownloaded(bool value);
  void setDownloading(bool value);
  void setMostRecentVersionDownloaded(bool value);
  void setUploaded(bool value);
  void setUploading(bool value);
  void setTrashed(bool value);
  void setShared(bool value);
  void setSupportsMostRecentVersionDownloaded(bool value);
  void setSharedByCurrentUser(bool value);

  // Stores the capability bits and records "capabilities".
  void setCapabilities(uint64_t value);

  // Return the stored values: none (or false, or 0) for attributes never set. Whether an
  // attribute counts is told by expectedKeys(), not by its value.
  const std::optional<std::string>& providerIdentifier() const { return providerIdentifier_; }
  const std::optional<std::string>& itemIdentifier() const { return itemIdentifier_; }
  const std::optional<std::string>& parentItemIdentifier() const { return parentItemIdentifier_; }
  const std::optional<std::string>& filename() const { return filename_; }
  const std::optional<std::string>& displayName() const { return displayName_; }
  const std::optional<std::string>& typeIdentifier() const { return typeIdentifier_; }
  const std::optional<int64_t>& documentSize() const { return documentSize_; }
  const std::optional<VLDate>& creationDate() const { return creationDate_; }
  const std::optional<VLDate>& contentModificationDate() const { return contentModificationDate_; }
  const std::optional<int64_t>& favoriteRank() const { return favoriteRank_; }
  const std::optional<VLDate>& lastUsedDate() const { return lastUsedDate_; }
  const std::optional<VLData>& tagData() const { return tagData_; }
  const std::optional<int64_t>& childItemCount() const { return childItemCount_; }
  const std::shared_ptr<const VLProgress>& progress() const { return progress_; }
  const VLErrorRef& uploadingError() const { return uploadingError_; }
  const VLErrorRef& downloadingError() const { return downloadingError_; }
  const std::shared_ptr<const VLPersonNameComponents>& ownerNameComponents() const { return ownerNameComponents_; }
  const std::shared_ptr<const VLPersonNameComponents>& mostRecentEditorNameComponents() const {
    return mostRecentEditorNameComponents_;
  }
  const std::optional<VLData>& versionIdentifier() const { return versionIdentifier_; }
  const std::optional<VLValue::Dictionary>& userInfo() const { return userInfo_; }
  const Tags& tags() const { return tags_; }
  const std::optional<std::string>& appContainerBundleIdentifier() const { return appContainerBundleIdentifier_; }
  const std::optional<std::string>& cloudContainerIdentifier() const { return cloudContainerIdentifier_; }
  const std::shared_ptr<const VLItemID>& formerItemID() const { return formerItemID_; }

  bool isPending() const { return pending_; }
  bool isOffline() const { return offline_; }
  bool isDownloaded() const { return downloaded_; }
  bool isDownloading() const { return downloading_; }
  bool isMostRecentVersionDownloaded() const { return mostRecentVersionDownloaded_; }
  bool isUploaded() const { return uploaded_; }
  bool isUploading() const { return uploading_; }
  bool isTrashed() const { return trashed_; }
  bool isShared() const { return shared_; }
  bool supportsMostRecentVersionDownloaded() const { return supportsMostRecentVersionDownloaded_; }
  bool isSharedByCurrentUser() const { return sharedByCurrentUser_; }
  uint64_t capabilities() const { return capabilities_; }

 private:
  // Converts a stored attribute to what valueForKey() reads: tags as an array of VLTag objects.
  static VLValue valueOf(const Tags& tags);
  template <class T>
  static VLValue valueOf(const T& value) {
    return VLValue(value);
  }

  std::set<std::string> expectedKeys_;
  std::map<std::string, VLValue> values_;  // every set key, as the matcher reads it

  std::optional<std::string> providerIdentifier_;
  std::optional<std::string> itemIdentifier_;
  std::optional<std::string> parentItemIdentifier_;
  std::optional<std::string> filename_;
  std::optional<std::string> displayName_;
  std::optional<std::string> typeIdentifier_;
  std::optional<int64_t> documentSize_;
  std::optional<VLDate> creationDate_;
  std::optional<VLDate> contentModificationDate_;
  std::optional<int64_t> favoriteRank_;
  std::optional<VLDate> lastUsedDate_;
  std::optional<VLData> tagData_;
  std::optional<int64_t> childItemCount_;
  std::shared_ptr<const VLProgress> progress_;
  VLErrorRef uploadingError_;
  VLErrorRef downloadingError_;
  std::shared_ptr<const VLPersonNameComponents> ownerNameComponents_;
  std::shared_ptr<const VLPersonNameComponents> mostRecentEditorNameComponents_;
  std::optional<VLData> versionIdentifier_;
  std::optional<VLValue::Dictionary> userInfo_;
  Tags tags_;
  std::optional<std::string> appContainerBundleIdentifier_;
  std::optional<std::string> cloudContainerIdentifier_;
  std::shared_ptr<const VLItemID> formerItemID_;

  bool pending_ = false;
  bool offline_ = false;
  bool downloaded_ = false;
  bool downloading_ = false;
  bool mostRecentVersionDownloaded_ = false;
  bool uploaded_ = false;
  bool uploading_ = false;
  bool trashed_ = false;
  bool shared_ = false;
  bool supportsMostRecentVersionDownloaded_ = false;
  bool sharedByCurrentUser_ = false;
  uint64_t capabilities_ = 0;
};
