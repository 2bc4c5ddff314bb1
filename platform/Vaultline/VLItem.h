// VLItem: a snapshot of one item as the service reports it. Immutable, so it may be shared
// freely between threads; a change to the item is a new VLItem.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Core/VLObject.h"
#include "Core/VLValue.h"
#include "Vaultline/VLItemAttributes.h"

class VLItem;
using VLItemRef = std::shared_ptr<const VLItem>;

class VLItem : public VLObject {
 public:
  static VLItemRef make(VLItemAttributes attributes);

  // Returns every attribute, for a platform that makes a modified copy.
  const VLItemAttributes& attributes() const { return a_; }

  const std::string& providerIdentifier() const { return a_.providerIdentifier; }
  const std::string& providerID() const { return a_.providerID; }
  const std::string& itemIdentifier() const { return a_.itemIdentifier; }
  const std::string& parentItemIdentifier() const { return a_.parentItemIdentifier; }
  const std::shared_ptr<const VLItemID>& formerItemID() const { return a_.formerItemID; }
  const std::string& filename() const { return a_.filename; }
  const std::string& displayName() const { return a_.displayName; }
  const std::string& typeIdentifier() const { return a_.typeIdentifier; }
  bool isFolder() const { return a_.isFolder; }
  bool isContainer() const { return a_.isContainer; }
  const std::optional<int64_t>& childItemCount() const { return a_.childItemCount; }
  const std::optional<int64_t>& documentSize() const { return a_.documentSize; }
  uint64_t capabilities() const { return a_.capabilities; }
  const std::optional<VLDate>& creationDate() const { return a_.creationDate; }
  const std::optional<VLDate>& contentModificationDate() const { return a_.contentModificationDate; }
  const std::optional<VLDate>& lastUsedDate() const { return a_.lastUsedDate; }
  bool isCloudItem() const { return a_.isCloudItem; }
  bool isDownloaded() const { return a_.downloaded; }
  bool isDownloading() const { return a_.downloading; }
  bool isMostRecentVersionDownloaded() const { return a_.mostRecentVersionDownloaded; }
  bool supportsMostRecentVersionDownloaded() const { return a_.supportsMostRecentVersionDownloaded; }
  bool isUploaded() const { return a_.uploaded; }
  bool isUploading() const { return a_.uploading; }
  bool isPending() const { return a_.pending; }
  bool isOffline() const { return a_.offline; }
  const std::shared_ptr<const VLProgress>& progress() const { return a_.progress; }
  const std::shared_ptr<const VLProgress>& downloadingProgress() const { return a_.downloadingProgress; }
  const std::shared_ptr<const VLProgress>& uploadingProgress() const { return a_.uploadingProgress; }
  const VLErrorRef& downloadingError() const { return a_.downloadingError; }
  const VLErrorRef& uploadingError() const { return a_.uploadingError; }
  bool isTrashed() const { return a_.trashed; }
  const std::optional<int64_t>& favoriteRank() const { return a_.favoriteRank; }
  const std::vector<std::shared_ptr<const VLTag>>& tags() const { return a_.tags; }
  const std::optional<VLData>& tagData() const { return a_.tagData; }
  bool isShared() const { return a_.shared; }
  bool isSharedByCurrentUser() const { return a_.sharedByCurrentUser; }
  const std::shared_ptr<const VLPersonNameComponents>& ownerNameComponents() const { return a_.ownerNameComponents; }
  const std::shared_ptr<const VLPersonNameComponents>& mostRecentEditorNameComponents() const {
    return a_.mostRecentEditorNameComponents;
  }
  const std::optional<VLData>& versionIdentifier() const { return a_.versionIdentifier; }
  const std::optional<VLValue::Dictionary>& userInfo() const { return a_.userInfo; }
  const std::optional<std::string>& appContainerBundleIdentifier() const { return a_.appContainerBundleIdentifier; }
  const std::optional<std::string>& cloudContainerIdentifier() const { return a_.cloudContainerIdentifier; }

  // Returns the attribute named `key` (the keys of the expected-item comparison: "filename",
  // "downloaded", "tags", …) as a value: booleans and capabilities as numbers, tags as an
  // array of VLTag objects, absent attributes as none. An unknown key reads as none.
  VLValue valueForKey(const std::string& key) const;
  // Returns every key that valueForKey() knows, in a fixed order.
  static const std::vector<std::string>& keys();
  // Reads one attribute as valueForKey() does: reader(item.attributes()).
  using KeyReader = VLValue (*)(const VLItemAttributes& attributes);
  // Returns the reader of `key`, or null for a key valueForKey() does not know. A matcher
  // resolves its keys once and then reads candidates without looking names up.
  static KeyReader readerForKey(const std::string& key);

  // Returns "<VLItem id:… name:… parent:… type:…>".
  std::string description() const override;
  // Equal when provider identifier and item identifier are equal: two snapshots of one item.
  bool isEqual(const VLObject& other) const override;
  // Returns a hash that agrees with isEqual(): two snapshots of one item hash alike.
  size_t hash() const;

 private:
  explicit VLItem(VLItemAttributes attributes) : a_(std::move(attributes)) {}
  const VLItemAttributes a_;
};

// Hash and equality of item references by the items' own equality, for unordered sets and
// maps of snapshots (neither may be given null).
struct VLItemRefHash {
  size_t operator()(const VLItemRef& item) const { return item->hash(); }
};
struct VLItemRefEqual {
  bool operator()(const VLItemRef& a, const VLItemRef& b) const { return a->isEqual(*b); }
};
