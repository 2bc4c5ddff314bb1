#include "Validations/VLExpectedItem.h"

#include <cctype>
#include <functional>
#include <unordered_map>
#include <utility>

#include "Core/VLLog.h"

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
#define VL_RECORDING_SETTER(Name, Type, field)                        \
  void VLExpectedItem::set##Name(Type value) {                        \
    static const std::string key = vl_keyFromSetter("set" #Name ":"); \
    expectedKeys_.insert(key);                                        \
    field = std::move(value);                                         \
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

namespace {

using Getter = std::function<VLValue(const VLExpectedItem&)>;

VLValue tagsValue(const VLExpectedItem& item) {
  VLValue::Array tags;
  for (const auto& tag : item.tags()) tags.emplace_back(tag);
  return tags;
}

// Same keys, same order as VLItem's table, so both sides of a comparison read alike.
const std::vector<std::pair<std::string, Getter>>& getters() {
  using I = VLExpectedItem;
  static const std::vector<std::pair<std::string, Getter>> table = {
      {"providerIdentifier", [](const I& i) { return VLValue(i.providerIdentifier()); }},
      {"itemIdentifier", [](const I& i) { return VLValue(i.itemIdentifier()); }},
      {"parentItemIdentifier", [](const I& i) { return VLValue(i.parentItemIdentifier()); }},
      {"filename", [](const I& i) { return VLValue(i.filename()); }},
      {"displayName", [](const I& i) { return VLValue(i.displayName()); }},
      {"typeIdentifier", [](const I& i) { return VLValue(i.typeIdentifier()); }},
      {"documentSize", [](const I& i) { return VLValue(i.documentSize()); }},
      {"creationDate", [](const I& i) { return VLValue(i.creationDate()); }},
      {"contentModificationDate", [](const I& i) { return VLValue(i.contentModificationDate()); }},
      {"favoriteRank", [](const I& i) { return VLValue(i.favoriteRank()); }},
      {"lastUsedDate", [](const I& i) { return VLValue(i.lastUsedDate()); }},
      {"tagData", [](const I& i) { return VLValue(i.tagData()); }},
      {"childItemCount", [](const I& i) { return VLValue(i.childItemCount()); }},
      {"downloaded", [](const I& i) { return VLValue(i.isDownloaded()); }},
      {"downloading", [](const I& i) { return VLValue(i.isDownloading()); }},
      {"mostRecentVersionDownloaded", [](const I& i) { return VLValue(i.isMostRecentVersionDownloaded()); }},
      {"uploaded", [](const I& i) { return VLValue(i.isUploaded()); }},
      {"uploading", [](const I& i) { return VLValue(i.isUploading()); }},
      {"trashed", [](const I& i) { return VLValue(i.isTrashed()); }},
      {"shared", [](const I& i) { return VLValue(i.isShared()); }},
      {"sharedByCurrentUser", [](const I& i) { return VLValue(i.isSharedByCurrentUser()); }},
      {"progress", [](const I& i) { return VLValue(i.progress()); }},
      {"uploadingError", [](const I& i) { return VLValue(i.uploadingError()); }},
      {"downloadingError", [](const I& i) { return VLValue(i.downloadingError()); }},
      {"capabilities", [](const I& i) { return VLValue(i.capabilities()); }},
      {"ownerNameComponents", [](const I& i) { return VLValue(i.ownerNameComponents()); }},
      {"mostRecentEditorNameComponents", [](const I& i) { return VLValue(i.mostRecentEditorNameComponents()); }},
      {"versionIdentifier", [](const I& i) { return VLValue(i.versionIdentifier()); }},
      {"userInfo", [](const I& i) { return VLValue(i.userInfo()); }},
      {"tags", tagsValue},
      {"supportsMostRecentVersionDownloaded",
       [](const I& i) { return VLValue(i.supportsMostRecentVersionDownloaded()); }},
      {"appContainerBundleIdentifier", [](const I& i) { return VLValue(i.appContainerBundleIdentifier()); }},
      {"cloudContainerIdentifier", [](const I& i) { return VLValue(i.cloudContainerIdentifier()); }},
      {"pending", [](const I& i) { return VLValue(i.isPending()); }},
      {"offline", [](const I& i) { return VLValue(i.isOffline()); }},
      {"formerItemID", [](const I& i) { return VLValue(i.formerItemID()); }},
  };
  return table;
}

const std::unordered_map<std::string, const Getter*>& getterIndex() {
  static const auto index = [] {
    std::unordered_map<std::string, const Getter*> map;
    for (const auto& [key, getter] : getters()) map.emplace(key, &getter);
    return map;
  }();
  return index;
}

}  // namespace

VLValue VLExpectedItem::valueForKey(const std::string& key) const {
  auto found = getterIndex().find(key);
  return found == getterIndex().end() ? VLValue() : (*found->second)(*this);
}

const std::vector<std::string>& VLExpectedItem::keys() {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> list;
    for (const auto& entry : getters()) list.push_back(entry.first);
    return list;
  }();
  return all;
}
