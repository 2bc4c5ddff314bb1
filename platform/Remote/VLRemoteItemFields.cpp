#include "Remote/VLRemoteItemFields.h"

#include <algorithm>
#include <unordered_map>

#include "Remote/VLRemoteJSONReader.h"

namespace {

using Field = VLRemoteItemFields::Field;
using Kind = VLRemoteItemFields::Kind;
using A = VLItemAttributes;

Field stringField(std::string_view name, std::string A::*member, bool required) {
  Field field{name, Kind::String, required};
  field.string = member;
  return field;
}

Field optionalStringField(std::string_view name, std::optional<std::string> A::*member) {
  Field field{name, Kind::OptionalString};
  field.optionalString = member;
  return field;
}

Field booleanField(std::string_view name, bool A::*member) {
  Field field{name, Kind::Boolean};
  field.boolean = member;
  return field;
}

Field integerField(std::string_view name, std::optional<int64_t> A::*member) {
  Field field{name, Kind::Integer};
  field.integer = member;
  return field;
}

Field dateField(std::string_view name, std::optional<VLDate> A::*member) {
  Field field{name, Kind::Date};
  field.date = member;
  return field;
}

Field otherField(std::string_view name) { return Field{name, Kind::Other}; }

std::vector<Field> makeFields() {
  std::vector<Field> fields = {
      stringField("itemIdentifier", &A::itemIdentifier, true),
      stringField("parentItemIdentifier", &A::parentItemIdentifier, true),
      stringField("filename", &A::filename, true),
      stringField("typeIdentifier", &A::typeIdentifier, true),
      stringField("providerIdentifier", &A::providerIdentifier, false),
      stringField("providerID", &A::providerID, false),
      stringField("displayName", &A::displayName, false),
      booleanField("isFolder", &A::isFolder),
      booleanField("isContainer", &A::isContainer),
      integerField("childItemCount", &A::childItemCount),
      integerField("documentSize", &A::documentSize),
      otherField("capabilities"),
      dateField("creationDate", &A::creationDate),
      dateField("contentModificationDate", &A::contentModificationDate),
      dateField("lastUsedDate", &A::lastUsedDate),
      booleanField("isCloudItem", &A::isCloudItem),
      booleanField("downloaded", &A::downloaded),
      booleanField("downloading", &A::downloading),
      booleanField("mostRecentVersionDownloaded", &A::mostRecentVersionDownloaded),
      booleanField("supportsMostRecentVersionDownloaded", &A::supportsMostRecentVersionDownloaded),
      booleanField("uploaded", &A::uploaded),
      booleanField("uploading", &A::uploading),
      booleanField("pending", &A::pending),
      booleanField("offline", &A::offline),
      otherField("progress"),
      otherField("downloadingProgress"),
      otherField("uploadingProgress"),
      otherField("downloadingError"),
      otherField("uploadingError"),
      booleanField("trashed", &A::trashed),
      integerField("favoriteRank", &A::favoriteRank),
      otherField("tags"),
      otherField("tagData"),
      booleanField("shared", &A::shared),
      booleanField("sharedByCurrentUser", &A::sharedByCurrentUser),
      otherField("ownerNameComponents"),
      otherField("mostRecentEditorNameComponents"),
      otherField("versionIdentifier"),
      otherField("userInfo"),
      optionalStringField("appContainerBundleIdentifier", &A::appContainerBundleIdentifier),
      optionalStringField("cloudContainerIdentifier", &A::cloudContainerIdentifier),
      otherField("formerItemID"),
  };
  return fields;
}

}  // namespace

// Both tables outlive static destruction: a reader thread may still decode a line while a
// process that keeps a session in a static object exits.
const std::vector<Field>& VLRemoteItemFields::all() {
  static const std::vector<Field>& fields = *new const std::vector<Field>(makeFields());
  static_assert(sizeof(Seen) * 8 >= 42, "one bit a field");
  return fields;
}

const Field* VLRemoteItemFields::find(std::string_view name) {
  static const std::unordered_map<std::string_view, const Field*>& byName = *[] {
    auto* map = new std::unordered_map<std::string_view, const Field*>();
    for (const auto& field : all()) map->emplace(field.name, &field);
    return map;
  }();
  auto found = byName.find(name);
  return found == byName.end() ? nullptr : found->second;
}

const Field& VLRemoteItemFields::providerIdentifier() { return *find("providerIdentifier"); }
const Field& VLRemoteItemFields::providerID() { return *find("providerID"); }
const Field& VLRemoteItemFields::displayName() { return *find("displayName"); }

void VLRemoteItemFields::decodePlain(VLItemAttributes& a, const Field& field, const VLRemoteJSONReader& value) {
  switch (field.kind) {
    case Kind::String: a.*field.string = value.string(); return;
    case Kind::OptionalString: a.*field.optionalString = value.string(); return;
    case Kind::Boolean: a.*field.boolean = value.boolean(); return;
    case Kind::Integer: a.*field.integer = value.integer(); return;
    case Kind::Date: a.*field.date = VLDate(value.number()); return;
    case Kind::Other: break;
  }
  value.fail("not a plain field");
}

void VLRemoteItemFields::clear(VLItemAttributes& a, const Field& field) {
  switch (field.kind) {
    case Kind::String: (a.*field.string).clear(); return;
    case Kind::OptionalString: (a.*field.optionalString).reset(); return;
    case Kind::Boolean: a.*field.boolean = false; return;
    case Kind::Integer: (a.*field.integer).reset(); return;
    case Kind::Date: (a.*field.date).reset(); return;
    case Kind::Other: break;
  }
}
