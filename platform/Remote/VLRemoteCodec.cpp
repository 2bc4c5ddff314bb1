#include "Remote/VLRemoteCodec.h"

#include <array>

#include "Vaultline/VLConstants.h"

using nlohmann::json;

namespace {

const char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string base64Encode(const VLData& data) {
  const uint8_t* bytes = data.bytes();
  size_t length = data.length();
  std::string out;
  out.reserve((length + 2) / 3 * 4);
  for (size_t i = 0; i < length; i += 3) {
    uint32_t chunk = uint32_t(bytes[i]) << 16;
    if (i + 1 < length) chunk |= uint32_t(bytes[i + 1]) << 8;
    if (i + 2 < length) chunk |= bytes[i + 2];
    out += kBase64[(chunk >> 18) & 63];
    out += kBase64[(chunk >> 12) & 63];
    out += i + 1 < length ? kBase64[(chunk >> 6) & 63] : '=';
    out += i + 2 < length ? kBase64[chunk & 63] : '=';
  }
  return out;
}

bool base64Decode(const std::string& text, std::vector<uint8_t>& out) {
  static const std::array<int8_t, 256> values = [] {
    std::array<int8_t, 256> table{};
    table.fill(-1);
    for (int i = 0; i < 64; ++i) table[static_cast<unsigned char>(kBase64[i])] = static_cast<int8_t>(i);
    return table;
  }();
  if (text.size() % 4 != 0) return false;
  out.reserve(text.size() / 4 * 3);
  for (size_t i = 0; i < text.size(); i += 4) {
    bool last = i + 4 == text.size();
    int padding = last ? (text[i + 3] == '=') + (text[i + 2] == '=') : 0;
    if (padding == 1 && text[i + 2] == '=') return false;
    uint32_t chunk = 0;
    for (int k = 0; k < 4 - padding; ++k) {
      int8_t value = values[static_cast<unsigned char>(text[i + k])];
      if (value < 0) return false;
      chunk |= uint32_t(value) << (18 - 6 * k);
    }
    out.push_back(uint8_t(chunk >> 16));
    if (padding < 2) out.push_back(uint8_t(chunk >> 8));
    if (padding < 1) out.push_back(uint8_t(chunk));
  }
  return true;
}

json encodeProgress(const VLProgress& progress) {
  json out = {{"fractionCompleted", progress.fractionCompleted()}};
  if (progress.isIndeterminate()) out["indeterminate"] = true;
  return out;
}

std::shared_ptr<const VLProgress> decodeProgress(const VLRemoteJSONReader& reader) {
  auto indeterminate = reader.optionalField("indeterminate");
  return VLProgress::make(reader.field("fractionCompleted").number(), indeterminate && indeterminate->boolean());
}

json encodeName(const VLPersonNameComponents& name) {
  return {{"givenName", name.givenName()}, {"familyName", name.familyName()}};
}

std::shared_ptr<const VLPersonNameComponents> decodeName(const VLRemoteJSONReader& reader) {
  auto given = reader.optionalField("givenName");
  auto family = reader.optionalField("familyName");
  std::string givenName = given ? given->string() : "", familyName = family ? family->string() : "";
  // A provider names the same few people on item after item (two names each): items decoded
  // one after another share the last name that matched, instead of 100,000 items holding
  // 200,000 copies. Names are immutable, so sharing shows nowhere.
  thread_local std::shared_ptr<const VLPersonNameComponents> recent[2];
  for (auto& name : recent) {
    if (name && name->givenName() == givenName && name->familyName() == familyName) return name;
  }
  recent[1] = std::move(recent[0]);
  recent[0] = VLPersonNameComponents::make(std::move(givenName), std::move(familyName));
  return recent[0];
}

json encodeItemID(const VLItemID& itemID) {
  json out = {{"provider", itemID.providerPart()}, {"itemIdentifier", itemID.itemIdentifier()}};
  if (itemID.domainIdentifier()) out["domainIdentifier"] = *itemID.domainIdentifier();
  return out;
}

std::shared_ptr<const VLItemID> decodeItemID(const VLRemoteJSONReader& reader) {
  auto domain = reader.optionalField("domainIdentifier");
  return VLItemID::makeReceived(reader.field("provider").string(),
                                domain ? std::optional<std::string>(domain->string()) : std::nullopt,
                                reader.field("itemIdentifier").string());
}

std::optional<std::string> optionalString(const VLRemoteJSONReader& reader, const char* name) {
  auto field = reader.optionalField(name);
  return field ? std::optional<std::string>(field->string()) : std::nullopt;
}

}  // namespace

json VLRemoteCodec::encodeData(const VLData& data) { return base64Encode(data); }

VLData VLRemoteCodec::decodeData(const VLRemoteJSONReader& reader) {
  std::vector<uint8_t> bytes;
  if (!base64Decode(reader.string(), bytes)) reader.fail("expected base64 data (RFC 4648 with padding)");
  return VLData(std::move(bytes));
}

json VLRemoteCodec::encodeTag(const VLTag& tag) { return {{"label", tag.label()}, {"color", tag.color()}}; }

std::shared_ptr<const VLTag> VLRemoteCodec::decodeTag(const VLRemoteJSONReader& reader) {
  return VLTag::make(reader.field("label").string(), reader.field("color").integer());
}

json VLRemoteCodec::encodeValue(const VLValue& value) {
  switch (value.kind()) {
    case VLValue::Kind::None: return nullptr;
    case VLValue::Kind::Bool: return value.boolValue();
    case VLValue::Kind::Integer: return value.integerValue();
    case VLValue::Kind::Unsigned: return value.unsignedValue();
    case VLValue::Kind::Double: return value.doubleValue();
    case VLValue::Kind::String: return *value.string();
    case VLValue::Kind::Date: return value.date()->timeIntervalSince1970();
    case VLValue::Kind::Data: return encodeData(*value.data());
    case VLValue::Kind::Array: {
      json out = json::array();
      for (const auto& element : *value.array()) out.push_back(encodeValue(element));
      return out;
    }
    case VLValue::Kind::Dictionary: {
      json out = json::object();
      for (const auto& [key, element] : *value.dictionary()) {
        if (!element.isNone()) out[key] = encodeValue(element);
      }
      return out;
    }
    case VLValue::Kind::Object: return value.description();
  }
  return nullptr;
}

VLValue VLRemoteCodec::decodeValue(const VLRemoteJSONReader& reader) {
  const json& value = reader.json();
  if (value.is_boolean()) return value.get<bool>();
  if (value.is_number_float()) return value.get<double>();
  if (value.is_number()) {
    if (value.is_number_unsigned() && value.get<uint64_t>() > static_cast<uint64_t>(INT64_MAX)) {
      return value.get<uint64_t>();  // beyond the signed range: kept exactly, as unsigned
    }
    return reader.integer();
  }
  if (value.is_string()) return value.get<std::string>();
  if (value.is_array()) {
    VLValue::Array out;
    for (const auto& element : reader.array()) out.push_back(decodeValue(element));
    return out;
  }
  if (value.is_object()) {
    VLValue::Dictionary out;
    for (const auto& [key, element] : reader.members()) {
      if (!element.json().is_null()) out[key] = decodeValue(element);
    }
    return out;
  }
  return VLValue();
}

json VLRemoteCodec::encodeItem(const VLItem& item) const {
  const VLItemAttributes& a = item.attributes();
  json out = {{"itemIdentifier", a.itemIdentifier},
              {"parentItemIdentifier", a.parentItemIdentifier},
              {"filename", a.filename},
              {"typeIdentifier", a.typeIdentifier}};
  auto put = [&](const char* name, const auto& value) { out[name] = value; };
  auto flag = [&](const char* name, bool value) {
    if (value) out[name] = true;
  };
  if (a.providerIdentifier != providerIdentifier_) put("providerIdentifier", a.providerIdentifier);
  if (a.providerID != providerID_) put("providerID", a.providerID);
  if (a.displayName != a.filename) put("displayName", a.displayName);
  flag("isFolder", a.isFolder);
  flag("isContainer", a.isContainer);
  if (a.childItemCount) put("childItemCount", *a.childItemCount);
  if (a.documentSize) put("documentSize", *a.documentSize);
  if (a.capabilities) put("capabilities", a.capabilities);
  if (a.creationDate) put("creationDate", a.creationDate->timeIntervalSince1970());
  if (a.contentModificationDate) put("contentModificationDate", a.contentModificationDate->timeIntervalSince1970());
  if (a.lastUsedDate) put("lastUsedDate", a.lastUsedDate->timeIntervalSince1970());
  flag("isCloudItem", a.isCloudItem);
  flag("downloaded", a.downloaded);
  flag("downloading", a.downloading);
  flag("mostRecentVersionDownloaded", a.mostRecentVersionDownloaded);
  flag("supportsMostRecentVersionDownloaded", a.supportsMostRecentVersionDownloaded);
  flag("uploaded", a.uploaded);
  flag("uploading", a.uploading);
  flag("pending", a.pending);
  flag("offline", a.offline);
  if (a.progress) put("progress", encodeProgress(*a.progress));
  if (a.downloadingProgress) put("downloadingProgress", encodeProgress(*a.downloadingProgress));
  if (a.uploadingProgress) put("uploadingProgress", encodeProgress(*a.uploadingProgress));
  if (a.downloadingError) put("downloadingError", encodeError(*a.downloadingError));
  if (a.uploadingError) put("uploadingError", encodeError(*a.uploadingError));
  flag("trashed", a.trashed);
  if (a.favoriteRank) put("favoriteRank", *a.favoriteRank);
  if (!a.tags.empty()) {
    json tags = json::array();
    for (const auto& tag : a.tags) tags.push_back(encodeTag(*tag));
    put("tags", tags);
  }
  if (a.tagData) put("tagData", encodeData(*a.tagData));
  flag("shared", a.shared);
  flag("sharedByCurrentUser", a.sharedByCurrentUser);
  if (a.ownerNameComponents) put("ownerNameComponents", encodeName(*a.ownerNameComponents));
  if (a.mostRecentEditorNameComponents) {
    put("mostRecentEditorNameComponents", encodeName(*a.mostRecentEditorNameComponents));
  }
  if (a.versionIdentifier) put("versionIdentifier", encodeData(*a.versionIdentifier));
  if (a.userInfo) put("userInfo", encodeValue(*a.userInfo));
  if (a.appContainerBundleIdentifier) put("appContainerBundleIdentifier", *a.appContainerBundleIdentifier);
  if (a.cloudContainerIdentifier) put("cloudContainerIdentifier", *a.cloudContainerIdentifier);
  if (a.formerItemID) put("formerItemID", encodeItemID(*a.formerItemID));
  return out;
}

VLItemRef VLRemoteCodec::decodeItem(const VLRemoteJSONReader& r) const {
  r.requireObject();
  VLItemAttributes a;
  VLRemoteItemFields::Seen seen = 0;
  for (const auto& field : VLRemoteItemFields::all()) {
    auto value = r.optionalField(field.name);
    if (!value) {
      if (field.required) r.fail("missing field \"" + std::string(field.name) + "\"");
      continue;
    }
    decodeItemField(a, field, *value);
    seen |= VLRemoteItemFields::bit(field);
  }
  return makeItem(std::move(a), seen);
}

void VLRemoteCodec::decodeItemField(VLItemAttributes& a, const VLRemoteItemFields::Field& field,
                                    const VLRemoteJSONReader& r) const {
  if (field.kind != VLRemoteItemFields::Kind::Other) return VLRemoteItemFields::decodePlain(a, field, r);
  const std::string_view name = field.name;
  if (name == "capabilities") {
    int64_t mask = r.integer();
    if (mask < 0) r.fail("expected a bit mask (an integer of at least 0)");
    a.capabilities = static_cast<uint64_t>(mask);
  } else if (name == "progress") {
    a.progress = decodeProgress(r);
  } else if (name == "downloadingProgress") {
    a.downloadingProgress = decodeProgress(r);
  } else if (name == "uploadingProgress") {
    a.uploadingProgress = decodeProgress(r);
  } else if (name == "downloadingError") {
    a.downloadingError = decodeError(r);
  } else if (name == "uploadingError") {
    a.uploadingError = decodeError(r);
  } else if (name == "tags") {
    std::vector<std::shared_ptr<const VLTag>> tags;
    for (const auto& tag : r.array()) tags.push_back(decodeTag(tag));
    a.tags = std::move(tags);
  } else if (name == "tagData") {
    a.tagData = decodeData(r);
  } else if (name == "ownerNameComponents") {
    a.ownerNameComponents = decodeName(r);
  } else if (name == "mostRecentEditorNameComponents") {
    a.mostRecentEditorNameComponents = decodeName(r);
  } else if (name == "versionIdentifier") {
    a.versionIdentifier = decodeData(r);
  } else if (name == "userInfo") {
    VLValue info = decodeValue(r.requireObject());
    a.userInfo = *info.dictionary();
  } else if (name == "formerItemID") {
    a.formerItemID = decodeItemID(r);
  } else {
    r.fail("no decoder for this field");
  }
}

VLItemRef VLRemoteCodec::makeItem(VLItemAttributes a, VLRemoteItemFields::Seen seen) const {
  if (!(seen & VLRemoteItemFields::bit(VLRemoteItemFields::providerIdentifier()))) a.providerIdentifier = providerIdentifier_;
  if (!(seen & VLRemoteItemFields::bit(VLRemoteItemFields::providerID()))) a.providerID = providerID_;
  if (!(seen & VLRemoteItemFields::bit(VLRemoteItemFields::displayName()))) a.displayName = a.filename;
  return VLItem::make(std::move(a));
}

std::vector<VLItemRef> VLRemoteCodec::decodeStreamedItems(VLRemoteStreamedItems::List& list,
                                                          const std::string& path) const {
  if (!list.made) {
    // Made once: the records are moved into the items.
    std::vector<VLItemRef> items;
    items.reserve(list.records.size());
    const auto& fields = VLRemoteItemFields::all();
    try {
      for (auto& record : list.records) {
        for (const auto& [index, value] : record.deferred) {
          const auto& field = fields[index];
          decodeItemField(record.attributes, field,
                          VLRemoteJSONReader(value, path + "[" + std::to_string(items.size()) + "]." +
                                                        std::string(field.name)));
        }
        items.push_back(makeItem(std::move(record.attributes), record.seen));
      }
    } catch (const VLRemoteJSONError& invalid) {
      list.madeError = invalid.what();
    }
    if (list.madeError.empty()) list.madeError = list.error;
    list.records.clear();
    list.records.shrink_to_fit();
    list.made = std::move(items);
  }
  if (!list.madeError.empty()) throw VLRemoteJSONError(list.madeError);
  return *list.made;
}

json VLRemoteCodec::encodeItems(const std::vector<VLItemRef>& items) const {
  json out = json::array();
  for (const auto& item : items) out.push_back(item ? encodeItem(*item) : json(nullptr));
  return out;
}

std::vector<VLItemRef> VLRemoteCodec::decodeItems(const VLRemoteJSONReader& reader) const {
  if (auto* list = reader.streamedList()) return decodeStreamedItems(*list, reader.path());
  std::vector<VLItemRef> items;
  for (const auto& element : reader.array()) items.push_back(decodeItem(element));
  return items;
}

json VLRemoteCodec::encodeError(const VLError& error) const {
  json out = {{"domain", error.domain()}, {"code", error.code()}};
  json info = json::object();
  for (const auto& [key, value] : error.userInfo()) {
    if (key == VLLocalizedDescriptionKey && value.string()) {
      out["description"] = *value.string();
    } else if (auto underlying = value.objectAs<VLError>(); key == VLUnderlyingErrorKey && underlying) {
      out["underlying"] = encodeError(*underlying);
    } else if (auto item = value.objectAs<VLItem>(); key == KsVaultlineErrorItem && item) {
      out["item"] = encodeItem(*item);
    } else if (!value.isNone()) {
      info[key] = encodeValue(value);
    }
  }
  if (!info.empty()) out["userInfo"] = info;
  return out;
}

VLErrorRef VLRemoteCodec::decodeError(const VLRemoteJSONReader& r) const {
  r.requireObject();
  std::string domain = r.field("domain").string();
  int64_t code = r.field("code").integer();
  VLValue::Dictionary info;
  if (auto field = r.optionalField("userInfo")) {
    for (const auto& [key, value] : field->members()) {
      if (!value.json().is_null()) info[key] = decodeValue(value);
    }
  }
  if (auto description = optionalString(r, "description")) info[VLLocalizedDescriptionKey] = *description;
  if (auto field = r.optionalField("item")) info[KsVaultlineErrorItem] = decodeItem(*field);
  if (auto underlying = decodeOptionalError(r, "underlying")) info[VLUnderlyingErrorKey] = underlying;
  return VLError::make(std::move(domain), code, std::move(info));
}

VLErrorRef VLRemoteCodec::decodeOptionalError(const VLRemoteJSONReader& object, const std::string& name) const {
  auto field = object.optionalField(name);
  return field ? decodeError(*field) : nullptr;
}
