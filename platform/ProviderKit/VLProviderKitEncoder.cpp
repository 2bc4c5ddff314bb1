#include "ProviderKit/VLProviderKitEncoder.h"

#include <charconv>
#include <cmath>

#include "Vaultline/VLConstants.h"

namespace {

const char kKitBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Returns the length of the valid UTF-8 sequence at text[i], or 0 when it is not one.
size_t kitUTF8Length(std::string_view text, size_t i) {
  auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  unsigned char lead = byte(i);
  size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
  if (length == 0 || i + length > text.size()) return 0;
  for (size_t k = 1; k < length; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
  }
  // Overlong forms, surrogates and code points beyond U+10FFFF.
  if (lead == 0xE0 && byte(i + 1) < 0xA0) return 0;
  if (lead == 0xED && byte(i + 1) > 0x9F) return 0;
  if (lead == 0xF0 && byte(i + 1) < 0x90) return 0;
  if (lead == 0xF4 && byte(i + 1) > 0x8F) return 0;
  return length;
}

void kitProgress(std::string& out, const VLProgress& progress) {
  VLProviderKitObject object(out);
  VLProviderKitEncoder::number(object.key("fractionCompleted"), progress.fractionCompleted());
  if (progress.isIndeterminate()) object.boolean("indeterminate", true);
  object.close();
}

void kitName(std::string& out, const VLPersonNameComponents& name) {
  VLProviderKitObject object(out);
  object.string("givenName", name.givenName());
  object.string("familyName", name.familyName());
  object.close();
}

}  // namespace

std::string& VLProviderKitObject::key(std::string_view name) {
  if (!first_) out_ += ',';
  first_ = false;
  VLProviderKitEncoder::string(out_, name);
  out_ += ':';
  return out_;
}

void VLProviderKitEncoder::string(std::string& out, std::string_view text) {
  static const char kHex[] = "0123456789abcdef";
  out += '"';
  auto plain = [](unsigned char c) { return c >= 0x20 && c < 0x80 && c != '"' && c != '\\'; };
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (plain(c)) {
      // A run of characters that need no escaping goes in at once.
      size_t end = i + 1;
      while (end < text.size() && plain(static_cast<unsigned char>(text[end]))) ++end;
      out.append(text.data() + i, end - i);
      i = end - 1;
    } else if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      switch (c) {
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        default:
          out += "\\u00";
          out += kHex[c >> 4];
          out += kHex[c & 15];
      }
    } else if (size_t length = kitUTF8Length(text, i)) {
      out.append(text.substr(i, length));
      i += length - 1;
    } else {
      out += "\xEF\xBF\xBD";
    }
  }
  out += '"';
}

void VLProviderKitEncoder::number(std::string& out, double value) {
  if (!std::isfinite(value)) {
    out += "null";
    return;
  }
  char buffer[32];
  auto [end, problem] = std::to_chars(buffer, buffer + sizeof buffer, value);
  (void)problem;  // 32 bytes hold the shortest form of any double
  out.append(buffer, end);
}

void VLProviderKitEncoder::data(std::string& out, const VLData& data) {
  const uint8_t* bytes = data.bytes();
  size_t length = data.length();
  out.reserve(out.size() + (length + 2) / 3 * 4 + 2);
  out += '"';
  for (size_t i = 0; i < length; i += 3) {
    uint32_t chunk = uint32_t(bytes[i]) << 16;
    if (i + 1 < length) chunk |= uint32_t(bytes[i + 1]) << 8;
    if (i + 2 < length) chunk |= bytes[i + 2];
    out += kKitBase64[(chunk >> 18) & 63];
    out += kKitBase64[(chunk >> 12) & 63];
    out += i + 1 < length ? kKitBase64[(chunk >> 6) & 63] : '=';
    out += i + 2 < length ? kKitBase64[chunk & 63] : '=';
  }
  out += '"';
}

void VLProviderKitEncoder::value(std::string& out, const VLValue& value) {
  switch (value.kind()) {
    case VLValue::Kind::None: out += "null"; return;
    case VLValue::Kind::Bool: out += value.boolValue() ? "true" : "false"; return;
    case VLValue::Kind::Integer: out += std::to_string(value.integerValue()); return;
    case VLValue::Kind::Unsigned: out += std::to_string(value.unsignedValue()); return;
    case VLValue::Kind::Double: number(out, value.doubleValue()); return;
    case VLValue::Kind::String: string(out, *value.string()); return;
    case VLValue::Kind::Date: number(out, value.date()->timeIntervalSince1970()); return;
    case VLValue::Kind::Data: data(out, *value.data()); return;
    case VLValue::Kind::Array: {
      out += '[';
      bool first = true;
      for (const auto& element : *value.array()) {
        if (!first) out += ',';
        first = false;
        VLProviderKitEncoder::value(out, element);
      }
      out += ']';
      return;
    }
    case VLValue::Kind::Dictionary: {
      VLProviderKitObject object(out);
      for (const auto& [key, element] : *value.dictionary()) {
        if (!element.isNone()) VLProviderKitEncoder::value(object.key(key), element);
      }
      object.close();
      return;
    }
    case VLValue::Kind::Object: string(out, value.description()); return;
  }
  out += "null";
}

void VLProviderKitEncoder::error(std::string& out, const VLError& error) const {
  VLProviderKitObject object(out);
  object.string("domain", error.domain());
  object.integer("code", error.code());
  bool hasInfo = false;
  for (const auto& [key, value] : error.userInfo()) {
    if (key == VLLocalizedDescriptionKey && value.string()) {
      object.string("description", *value.string());
    } else if (auto underlying = value.objectAs<VLError>(); key == VLUnderlyingErrorKey && underlying) {
      this->error(object.key("underlying"), *underlying);
    } else if (auto existing = value.objectAs<VLItem>(); key == KsVaultlineErrorItem && existing) {
      item(object.key("item"), *existing);
    } else if (!value.isNone()) {
      hasInfo = true;
    }
  }
  if (hasInfo) {
    VLProviderKitObject info(object.key("userInfo"));
    for (const auto& [key, value] : error.userInfo()) {
      if (key == VLLocalizedDescriptionKey && value.string()) continue;
      if (key == VLUnderlyingErrorKey && value.objectAs<VLError>()) continue;
      if (key == KsVaultlineErrorItem && value.objectAs<VLItem>()) continue;
      if (!value.isNone()) VLProviderKitEncoder::value(info.key(key), value);
    }
    info.close();
  }
  object.close();
}

void VLProviderKitEncoder::item(std::string& out, const VLItem& item) const {
  const VLItemAttributes& a = item.attributes();
  VLProviderKitObject o(out);
  o.string("itemIdentifier", a.itemIdentifier);
  o.string("parentItemIdentifier", a.parentItemIdentifier);
  o.string("filename", a.filename);
  o.string("typeIdentifier", a.typeIdentifier);
  auto flag = [&](const char* name, bool value) {
    if (value) o.boolean(name, true);
  };
  auto date = [&](const char* name, const std::optional<VLDate>& value) {
    if (value) number(o.key(name), value->timeIntervalSince1970());
  };
  if (a.providerIdentifier != providerIdentifier_) o.string("providerIdentifier", a.providerIdentifier);
  if (a.providerID != providerID_) o.string("providerID", a.providerID);
  if (a.displayName != a.filename) o.string("displayName", a.displayName);
  flag("isFolder", a.isFolder);
  flag("isContainer", a.isContainer);
  if (a.childItemCount) o.integer("childItemCount", *a.childItemCount);
  if (a.documentSize) o.integer("documentSize", *a.documentSize);
  if (a.capabilities) o.key("capabilities") += std::to_string(a.capabilities);
  date("creationDate", a.creationDate);
  date("contentModificationDate", a.contentModificationDate);
  date("lastUsedDate", a.lastUsedDate);
  flag("isCloudItem", a.isCloudItem);
  flag("downloaded", a.downloaded);
  flag("downloading", a.downloading);
  flag("mostRecentVersionDownloaded", a.mostRecentVersionDownloaded);
  flag("supportsMostRecentVersionDownloaded", a.supportsMostRecentVersionDownloaded);
  flag("uploaded", a.uploaded);
  flag("uploading", a.uploading);
  flag("pending", a.pending);
  flag("offline", a.offline);
  if (a.progress) kitProgress(o.key("progress"), *a.progress);
  if (a.downloadingProgress) kitProgress(o.key("downloadingProgress"), *a.downloadingProgress);
  if (a.uploadingProgress) kitProgress(o.key("uploadingProgress"), *a.uploadingProgress);
  if (a.downloadingError) error(o.key("downloadingError"), *a.downloadingError);
  if (a.uploadingError) error(o.key("uploadingError"), *a.uploadingError);
  flag("trashed", a.trashed);
  if (a.favoriteRank) o.integer("favoriteRank", *a.favoriteRank);
  if (!a.tags.empty()) {
    std::string& tags = o.key("tags");
    tags += '[';
    for (size_t i = 0; i < a.tags.size(); ++i) {
      if (i) tags += ',';
      VLProviderKitObject tag(tags);
      tag.string("label", a.tags[i]->label());
      tag.integer("color", a.tags[i]->color());
      tag.close();
    }
    tags += ']';
  }
  if (a.tagData) data(o.key("tagData"), *a.tagData);
  flag("shared", a.shared);
  flag("sharedByCurrentUser", a.sharedByCurrentUser);
  if (a.ownerNameComponents) kitName(o.key("ownerNameComponents"), *a.ownerNameComponents);
  if (a.mostRecentEditorNameComponents) {
    kitName(o.key("mostRecentEditorNameComponents"), *a.mostRecentEditorNameComponents);
  }
  if (a.versionIdentifier) data(o.key("versionIdentifier"), *a.versionIdentifier);
  if (a.userInfo) value(o.key("userInfo"), VLValue(*a.userInfo));
  if (a.appContainerBundleIdentifier) o.string("appContainerBundleIdentifier", *a.appContainerBundleIdentifier);
  if (a.cloudContainerIdentifier) o.string("cloudContainerIdentifier", *a.cloudContainerIdentifier);
  if (a.formerItemID) {
    VLProviderKitObject former(o.key("formerItemID"));
    former.string("provider", a.formerItemID->providerPart());
    former.string("itemIdentifier", a.formerItemID->itemIdentifier());
    if (a.formerItemID->domainIdentifier()) former.string("domainIdentifier", *a.formerItemID->domainIdentifier());
    former.close();
  }
  o.close();
}
