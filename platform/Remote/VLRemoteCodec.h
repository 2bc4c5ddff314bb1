// VLRemoteCodec: the one JSON encoding of every value the provider protocol carries: items,
// errors, tags, progress, names, item IDs, dates (seconds since 1970 as a number) and data
// (base64), as docs/provider-protocol.md specifies them.
//
// Decoding is strict: a missing required field or a field of the wrong type throws
// VLRemoteJSONError naming the field; unknown fields are ignored. Encoding leaves out the
// fields that hold their default, and decoding an encoded value gives it back unchanged.
// Immutable; safe from any thread.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Core/VLData.h"
#include "Core/VLError.h"
#include "Core/VLValue.h"
#include "Remote/VLRemoteItemFields.h"
#include "Remote/VLRemoteJSONReader.h"
#include "Vaultline/VLItem.h"

class VLRemoteCodec {
 public:
  // Items that leave out `providerIdentifier` or `providerID` get these.
  VLRemoteCodec(std::string providerIdentifier, std::string providerID)
      : providerIdentifier_(std::move(providerIdentifier)), providerID_(std::move(providerID)) {}

  nlohmann::json encodeItem(const VLItem& item) const;
  VLItemRef decodeItem(const VLRemoteJSONReader& reader) const;
  nlohmann::json encodeItems(const std::vector<VLItemRef>& items) const;
  // Decodes an array of items; when the reader's message was parsed with its item lists
  // decoded on the way (VLRemoteStreamParser), takes that list instead, and reports the same
  // errors for it (the first invalid element, naming its field).
  std::vector<VLItemRef> decodeItems(const VLRemoteJSONReader& reader) const;
  // Sets the item field `field` (VLRemoteItemFields) from `value`; throws naming it.
  void decodeItemField(VLItemAttributes& attributes, const VLRemoteItemFields::Field& field,
                       const VLRemoteJSONReader& value) const;

  nlohmann::json encodeError(const VLError& error) const;
  VLErrorRef decodeError(const VLRemoteJSONReader& reader) const;
  // Returns the error in the field `name` of an object (none when absent or null).
  VLErrorRef decodeOptionalError(const VLRemoteJSONReader& object, const std::string& name = "error") const;

  static nlohmann::json encodeTag(const VLTag& tag);
  static std::shared_ptr<const VLTag> decodeTag(const VLRemoteJSONReader& reader);
  static nlohmann::json encodeData(const VLData& data);
  static VLData decodeData(const VLRemoteJSONReader& reader);
  // Encodes a value of an options or user-info dictionary: JSON scalars, arrays and objects
  // as themselves; dates as numbers, data as base64, other objects as their description.
  static nlohmann::json encodeValue(const VLValue& value);
  static VLValue decodeValue(const VLRemoteJSONReader& reader);

  const std::string& providerIdentifier() const { return providerIdentifier_; }
  const std::string& providerID() const { return providerID_; }

 private:
  // Makes the item, with the session's defaults for the fields not `seen`.
  VLItemRef makeItem(VLItemAttributes attributes, VLRemoteItemFields::Seen seen) const;
  std::vector<VLItemRef> decodeStreamedItems(VLRemoteStreamedItems::List& list, const std::string& path) const;

  std::string providerIdentifier_;
  std::string providerID_;
};
