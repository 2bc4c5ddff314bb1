#include "Validations/VLExpectedItem.h"

#include <cctype>
#include <functional>
#include <unordered_map>
#include <utility>

#include "Core/VLLog.h"
#include "Vaultline/VLItem.h"

std::string vl_setterFromKey(const std::string& key) {
  std::string first = key.substr(0, 1);
  for (char& c : first) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return VLFormat("set%@%@:", first, key.empty() ? std::string() : key.substr(1));
}

std::string vl_keyFromSetter(const std::string& setter) {
  VL_ASSERT(setter.rfind("set", 0) == 0, "setter %@ doesn't have set prefix", setter);
  if (setter.size() <= 3) return "";
  std::string key(1, static_cast<char>(std::tolower(static_cast<unsigned char>(setter[3]))));
  key += setter.substr(4);
  key.pop_back();
  return key;
}

VLExpectedItem::VLExpectedItem() { setPending(false); }

// Each setter records the key derived from its own name, once per process, so that the
// recorded key can never drift from the setter that records it.
#define VL_RECORDING_SETTER(Name, Type, field)                                    \
  void VLExpectedItem::set##Name(Type value) {                                    \
    static const auto& key = *new std::string(vl_keyFromSetter("set" #Name ":")); \
    expectedKeys_.insert(key);                                                    \
    field = std::move(value);                                                     \
    values_[key] = valueOf(field);                                                \
  }

VL_RECORDING_SETTER(ProviderIdentifier, std::optional<std::string>, providerIdentifier_)
VL_RECORDING_SETTER(ItemIdentifier, std::optional<std::string>, itemIdentifier_)
VL_RECORDING_SETTER(ParentItemIdentifier, std::optional<std::string>, parentItemIdentifier_)
VL_RECORDING_SETTER(Filename, std::optional<std::string>, filename_)
VL_RECORDING_SETTER(DisplayName, std::optional<std::string>, displayName_)
VL_RECORDING_SETTER(TypeIdentifier, std::optional<std::string>, typeIdentifier_)
VL_RECORDING_SETTER(DocumentSize, std::optional<int64_t>, documentSize_)
VL_RECORDING_SETTER(CreationDate, std::optional<VLDate>, creationDate_)
VL_RECORDING_SETTER(ContentModificationDate, std::optional<VLDate>, contentModificationDate_)
VL_RECORDING_SETTER(FavoriteRank, std::optional<int64_t>, favoriteRank_)
VL_RECORDING_SETTER(LastUsedDate, std::optional<VLDate>, lastUsedDate_)
VL_RECORDING_SETTER(TagData, std::optional<VLData>, tagData_)
VL_RECORDING_SETTER(ChildItemCount, std::optional<int64_t>, childItemCount_)
VL_RECORDING_SETTER(Progress, std::shared_ptr<const VLProgress>, progress_)
VL_RECORDING_SETTER(UploadingError, VLErrorRef, uploadingError_)
VL_RECORDING_SETTER(DownloadingError, VLErrorRef, downloadingError_)
VL_RECORDING_SETTER(OwnerNameComponents, std::shared_ptr<const VLPersonNameComponents>, ownerNameComponents_)
VL_RECORDING_SETTER(MostRecentEditorNameComponents, std::shared_ptr<const VLPersonNameComponents>,
                    mostRecentEditorNameComponents_)
VL_RECORDING_SETTER(VersionIdentifier, std::optional<VLData>, versionIdentifier_)
VL_RECORDING_SETTER(UserInfo, std::optional<VLValue::Dictionary>, userInfo_)
VL_RECORDING_SETTER(Tags, Tags, tags_)
VL_RECORDING_SETTER(AppContainerBundleIdentifier, std::optional<std::string>, appContainerBundleIdentifier_)
VL_RECORDING_SETTER(CloudContainerIdentifier, std::optional<std::string>, cloudContainerIdentifier_)
VL_RECORDING_SETTER(FormerItemID, std::shared_ptr<const VLItemID>, formerItemID_)

VL_RECORDING_SETTER(Pending, bool, pending_)
VL_RECORDING_SETTER(Offline, bool, offline_)
VL_RECORDING_SETTER(Downloaded, bool, downloaded_)
VL_RECORDING_SETTER(Downloading, bool, downloading_)
VL_RECORDING_SETTER(MostRecentVersionDownloaded, bool, mostRecentVersionDownloaded_)
VL_RECORDING_SETTER(Uploaded, bool, uploaded_)
VL_RECORDING_SETTER(Uploading, bool, uploading_)
VL_RECORDING_SETTER(Trashed, bool, trashed_)
VL_RECORDING_SETTER(Shared, bool, shared_)
VL_RECORDING_SETTER(SupportsMostRecentVersionDownloaded, bool, supportsMostRecentVersionDownloaded_)
VL_RECORDING_SETTER(SharedByCurrentUser, bool, sharedByCurrentUser_)

VL_RECORDING_SETTER(Capabilities, uint64_t, capabilities_)

#undef VL_RECORDING_SETTER

VLValue VLExpectedItem::valueForKey(const std::string& key) const {
  auto found = values_.find(key);
  return found == values_.end() ? VLValue() : found->second;
}

const std::vector<std::string>& VLExpectedItem::keys() { return VLItem::keys(); }

VLValue VLExpectedItem::valueOf(const Tags& tags) {
  VLValue::Array array;
  for (const auto& tag : tags) array.emplace_back(tag);
  return array;
}
