// VLRemoteItemFields: the fields of an item in the protocol's encoding, as one table that both
// decoders read: VLRemoteCodec over a parsed document, and VLRemoteStreamParser while a line is
// being parsed. One table, so that the two cannot disagree on a field's name, type or whether
// it is required.
//
// Plain fields (strings, flags, integers, dates) are decoded by decodePlain(); the others
// (nested objects, lists, base64 data, bit masks) by VLRemoteCodec::decodeItemField().
// Immutable; safe from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Vaultline/VLItemAttributes.h"

class VLRemoteJSONReader;

class VLRemoteItemFields {
 public:
  enum class Kind { String, OptionalString, Boolean, Integer, Date, Other };

  struct Field {
    std::string_view name;
    Kind kind = Kind::Other;
    bool required = false;
    // The attribute a plain field sets (the one member that its kind uses).
    std::string VLItemAttributes::*string = nullptr;
    std::optional<std::string> VLItemAttributes::*optionalString = nullptr;
    bool VLItemAttributes::*boolean = nullptr;
    std::optional<int64_t> VLItemAttributes::*integer = nullptr;
    std::optional<VLDate> VLItemAttributes::*date = nullptr;
  };
  // Which fields an item named (not null), one bit per field by its place in all().
  using Seen = uint64_t;

  // Every field, in the order the decoders check them.
  static const std::vector<Field>& all();
  // The field called `name`, or null for a name the protocol does not know (ignored).
  static const Field* find(std::string_view name);
  // The field's bit in Seen.
  static Seen bit(const Field& field) { return Seen{1} << (&field - all().data()); }
  static const Field& providerIdentifier();
  static const Field& providerID();
  static const Field& displayName();

  // Sets a plain field from `value`; throws VLRemoteJSONError naming the field when the value
  // has the wrong type.
  static void decodePlain(VLItemAttributes& attributes, const Field& field, const VLRemoteJSONReader& value);
  // Returns a plain field to its default (a null value counts as absent).
  static void clear(VLItemAttributes& attributes, const Field& field);
};
