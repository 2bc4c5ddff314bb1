// VLProviderKitEncoder: writes the protocol's values straight into a line of text, without
// building a JSON document first, so that a page of a thousand items or a change batch costs
// one string and nothing more. It writes the same fields as VLRemoteCodec (the host's
// decoder reads both alike) and leaves out the fields that hold their default.
//
// Strings that are not valid UTF-8 are written with U+FFFD in place of each bad byte, so a
// line is always valid JSON. Immutable; safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "Core/VLData.h"
#include "Core/VLError.h"
#include "Core/VLValue.h"
#include "Vaultline/VLItem.h"

class VLProviderKitEncoder {
 public:
  // Items that carry these as providerIdentifier and providerID leave them out.
  VLProviderKitEncoder(std::string providerIdentifier, std::string providerID)
      : providerIdentifier_(std::move(providerIdentifier)), providerID_(std::move(providerID)) {}

  // Each appends one JSON value to `out`.
  void item(std::string& out, const VLItem& item) const;
  void error(std::string& out, const VLError& error) const;
  static void string(std::string& out, std::string_view text);
  static void number(std::string& out, double value);
  static void data(std::string& out, const VLData& data);
  // Option and user-info values: scalars, arrays and dictionaries as themselves, dates as
  // numbers, data as base64, other objects as their description; none as null.
  static void value(std::string& out, const VLValue& value);

 private:
  std::string providerIdentifier_;
  std::string providerID_;
};

// VLProviderKitObject: a JSON object written member by member into a string.
class VLProviderKitObject {
 public:
  explicit VLProviderKitObject(std::string& out) : out_(out) { out_ += '{'; }
  // Starts the member `name`; the caller appends its value next.
  std::string& key(std::string_view name);
  void string(std::string_view name, std::string_view value) { VLProviderKitEncoder::string(key(name), value); }
  void integer(std::string_view name, int64_t value) { key(name) += std::to_string(value); }
  void boolean(std::string_view name, bool value) { key(name) += value ? "true" : "false"; }
  void raw(std::string_view name, std::string_view json) { key(name) += json; }
  // Closes the object; call once.
  void close() { out_ += '}'; }

 private:
  std::string& out_;
  bool first_ = true;
};
