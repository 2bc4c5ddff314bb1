// VLRemoteJSONReader: checked reading of a JSON value received from the other side, which
// knows where in the message the value sits ("result.item.filename") so that a missing or
// mistyped field becomes an error naming exactly that field.
//
// Every reading either returns the value or throws VLRemoteJSONError. A field whose value
// is null counts as absent. The reader refers to the JSON value it was made from, which must
// outlive it, and so does the table of item lists decoded while the message was parsed
// (VLRemoteStreamedItems), when it was made with one: every reader it hands out carries it.
// Cheap to copy; not shared between threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Core/VLException.h"
#include "Remote/VLRemoteStreamedItems.h"

// A received value is missing or of the wrong type; the message names the field's path.
class VLRemoteJSONError : public VLException {
 public:
  using VLException::VLException;
};

class VLRemoteJSONReader {
 public:
  VLRemoteJSONReader(const nlohmann::json& value, std::string path, VLRemoteStreamedItems* streamed = nullptr)
      : value_(&value), path_(std::move(path)), streamed_(streamed) {}

  const nlohmann::json& json() const { return *value_; }
  const std::string& path() const { return path_; }

  // Returns the field `name` of this object; throws when this is no object or the field is
  // missing or null.
  VLRemoteJSONReader field(std::string_view name) const;
  // Returns the field `name` of this object, or none when it is missing or null.
  std::optional<VLRemoteJSONReader> optionalField(std::string_view name) const;

  std::string string() const;
  bool boolean() const;
  // An integer: a JSON number without a fractional part within 64 signed bits.
  int64_t integer() const;
  double number() const;
  // The elements of an array, each with its path ("items[2]").
  std::vector<VLRemoteJSONReader> array() const;
  // The members of an object, in key order, each with its path.
  std::vector<std::pair<std::string, VLRemoteJSONReader>> members() const;
  // Throws unless this is an object.
  const VLRemoteJSONReader& requireObject() const;

  // The item list decoded at this reader's path while the message was parsed, or null when the
  // value is an ordinary one (VLRemoteCodec::decodeItems reads this first).
  // The list stays the table's; it is read by one thread.
  VLRemoteStreamedItems::List* streamedList() const;

  // Throws VLRemoteJSONError "<path>: <problem>".
  [[noreturn]] void fail(const std::string& problem) const;

 private:
  [[noreturn]] void expected(const char* what) const;

  const nlohmann::json* value_;
  std::string path_;
  VLRemoteStreamedItems* streamed_;
};

// Returns a short rendering of a received value for error messages (at most about 60 bytes).
std::string vl_excerptJSON(const nlohmann::json& value);
