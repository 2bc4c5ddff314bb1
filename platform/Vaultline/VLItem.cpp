#include "Vaultline/VLItem.h"

#include <unordered_map>

#include "Core/VLFormat.h"

namespace {

using Getter = VLItem::KeyReader;

VLValue tagsValue(const VLItemAttributes& a) {
  VLValue::Array tags;
  for (const auto& tag : a.tags) tags.emplace_back(tag);
  return tags;
}

// The tables below are never destroyed: service threads may still read items while the
// process exits.
const std::vector<std::pair<std::string, Getter>>& getters() {
  static const auto& table = *new const std::vector<std::pair<std::string, Getter>>{
      {"providerIdentifier", [](const VLItemAttributes& a) { return VLValue(a.providerIdentifier); }},
      {"itemIdentifier", [](const VLItemAttributes& a) { return VLValue(a.itemIdentifier); }},
      {"parentItemIdentifier", [](const VLItemAttributes& a) { return VLValue(a.parentItemIdentifier); }},
      {"filename", [](const VLItemAttributes& a) { return VLValue(a.filename); }},
      {"displayName", [](const VLItemAttributes& a) { return VLValue(a.displayName); }},
      {"typeIdentifier", [](const VLItemAttributes& a) { return VLValue(a.typeIdentifier); }},
      {"documentSize", [](const VLItemAttributes& a) { return VLValue(a.documentSize); }},
      {"creationDate", [](const VLItemAttributes& a) { return VLValue(a.creationDate); }},
      {"contentModificationDate", [](const VLItemAttributes& a) { return VLValue(a.contentModificationDate); }},
      {"favoriteRank", [](const VLItemAttributes& a) { return VLValue(a.favoriteRank); }},
      {"lastUsedDate", [](const VLItemAttributes& a) { return VLValue(a.lastUsedDate); }},
      {"tagData", [](const VLItemAttributes& a) { return VLValue(a.tagData); }},
      {"childItemCount", [](const VLItemAttributes& a) { return VLValue(a.childItemCount); }},
      {"downloaded", [](const VLItemAttributes& a) { return VLValue(a.downloaded); }},
      {"downloading", [](const VLItemAttributes& a) { return VLValue(a.downloading); }},
      {"mostRecentVersionDownloaded", [](const VLItemAttributes& a) { return VLValue(a.mostRecentVersionDownloaded); }},
      {"uploaded", [](const VLItemAttributes& a) { return VLValue(a.uploaded); }},
      {"uploading", [](const VLItemAttributes& a) { return VLValue(a.uploading); }},
      {"trashed", [](const VLItemAttributes& a) { return VLValue(a.trashed); }},
      {"shared", [](const VLItemAttributes& a) { return VLValue(a.shared); }},
      {"sharedByCurrentUser", [](const VLItemAttributes& a) { return VLValue(a.sharedByCurrentUser); }},
      {"progress", [](const VLItemAttributes& a) { return VLValue(a.progress); }},
      {"uploadingError", [](const VLItemAttributes& a) { return VLValue(a.uploadingError); }},
      {"downloadingError", [](const VLItemAttributes& a) { return VLValue(a.downloadingError); }},
      {"capabilities", [](const VLItemAttributes& a) { return VLValue(a.capabilities); }},
      {"ownerNameComponents", [](const VLItemAttributes& a) { return VLValue(a.ownerNameComponents); }},
      {"mostRecentEditorNameComponents",
       [](const VLItemAttributes& a) { return VLValue(a.mostRecentEditorNameComponents); }},
      {"versionIdentifier", [](const VLItemAttributes& a) { return VLValue(a.versionIdentifier); }},
      {"userInfo", [](const VLItemAttributes& a) { return VLValue(a.userInfo); }},
      {"tags", tagsValue},
      {"supportsMostRecentVersionDownloaded",
       [](const VLItemAttributes& a) { return VLValue(a.supportsMostRecentVersionDownloaded); }},
      {"appContainerBundleIdentifier",
       [](const VLItemAttributes& a) { return VLValue(a.appContainerBundleIdentifier); }},
      {"cloudContainerIdentifier", [](const VLItemAttributes& a) { return VLValue(a.cloudContainerIdentifier); }},
      {"pending", [](const VLItemAttributes& a) { return VLValue(a.pending); }},
      {"offline", [](const VLItemAttributes& a) { return VLValue(a.offline); }},
      {"formerItemID", [](const VLItemAttributes& a) { return VLValue(a.formerItemID); }},
  };
  return table;
}

const std::unordered_map<std::string, Getter>& getterIndex() {
  static const auto& index = *[] {
    auto map = new std::unordered_map<std::string, Getter>;
    for (const auto& [key, getter] : getters()) map->emplace(key, getter);
    return map;
  }();
  return index;
}

}  // namespace

VLItemRef VLItem::make(VLItemAttributes attributes) { return VLItemRef(new VLItem(std::move(attributes))); }

VLValue VLItem::valueForKey(const std::string& key) const {
  KeyReader reader = readerForKey(key);
  return reader ? reader(a_) : VLValue();
}

VLItem::KeyReader VLItem::readerForKey(const std::string& key) {
  auto found = getterIndex().find(key);
  return found == getterIndex().end() ? nullptr : found->second;
}

const std::vector<std::string>& VLItem::keys() {
  static const auto& all = *[] {
    auto list = new std::vector<std::string>;
    for (const auto& entry : getters()) list->push_back(entry.first);
    return list;
  }();
  return all;
}

std::string VLItem::description() const {
  return VLFormat("<VLItem id:%@ name:%@ parent:%@ type:%@>", a_.itemIdentifier, a_.filename, a_.parentItemIdentifier,
                  a_.typeIdentifier);
}

size_t VLItem::hash() const {
  size_t provider = std::hash<std::string>()(a_.providerIdentifier);
  return std::hash<std::string>()(a_.itemIdentifier) ^ (provider + 0x9e3779b97f4a7c15ULL + (provider << 6));
}

bool VLItem::isEqual(const VLObject& other) const {
  auto item = dynamic_cast<const VLItem*>(&other);
  return item && item->a_.itemIdentifier == a_.itemIdentifier && item->a_.providerIdentifier == a_.providerIdentifier;
}
