#include "Remote/VLRemoteJSONReader.h"

#include <cmath>

namespace {
const size_t kExcerptLength = 60;
}

std::string vl_excerptJSON(const nlohmann::json& value) {
  std::string text;
  try {
    text = value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  } catch (const std::exception&) {
    text = "(unprintable)";
  }
  if (text.size() > kExcerptLength) text = text.substr(0, kExcerptLength) + "…";
  return text;
}

VLRemoteStreamedItems::List* VLRemoteJSONReader::streamedList() const {
  // The parser leaves an empty array where it took a list out of the document.
  if (!streamed_ || !value_->is_array() || !value_->empty()) return nullptr;
  return streamed_->find(path_);
}

void VLRemoteJSONReader::fail(const std::string& problem) const { throw VLRemoteJSONError(path_ + ": " + problem); }

void VLRemoteJSONReader::expected(const char* what) const {
  fail(std::string("expected ") + what + ", got " + vl_excerptJSON(*value_));
}

const VLRemoteJSONReader& VLRemoteJSONReader::requireObject() const {
  if (!value_->is_object()) expected("an object");
  return *this;
}

std::optional<VLRemoteJSONReader> VLRemoteJSONReader::optionalField(std::string_view name) const {
  requireObject();
  auto found = value_->find(name);
  if (found == value_->end() || found->is_null()) return std::nullopt;
  std::string path;
  path.reserve(path_.size() + 1 + name.size());
  path.append(path_).append(1, '.').append(name);
  return VLRemoteJSONReader(*found, std::move(path), streamed_);
}

VLRemoteJSONReader VLRemoteJSONReader::field(std::string_view name) const {
  auto found = optionalField(name);
  if (!found) fail("missing field \"" + std::string(name) + "\"");
  return *found;
}

std::string VLRemoteJSONReader::string() const {
  if (!value_->is_string()) expected("a string");
  return value_->get<std::string>();
}

bool VLRemoteJSONReader::boolean() const {
  if (!value_->is_boolean()) expected("true or false");
  return value_->get<bool>();
}

int64_t VLRemoteJSONReader::integer() const {
  if (value_->is_number_integer() && !value_->is_number_unsigned()) return value_->get<int64_t>();
  if (value_->is_number_unsigned()) {
    uint64_t value = value_->get<uint64_t>();
    if (value <= static_cast<uint64_t>(INT64_MAX)) return static_cast<int64_t>(value);
  } else if (value_->is_number_float()) {
    double value = value_->get<double>();
    // 2^63 is the first double past the signed range.
    if (std::isfinite(value) && std::floor(value) == value && value >= -9223372036854775808.0 &&
        value < 9223372036854775808.0) {
      return static_cast<int64_t>(value);
    }
  }
  expected("an integer");
}

double VLRemoteJSONReader::number() const {
  if (!value_->is_number()) expected("a number");
  return value_->get<double>();
}

std::vector<VLRemoteJSONReader> VLRemoteJSONReader::array() const {
  if (!value_->is_array()) expected("an array");
  std::vector<VLRemoteJSONReader> elements;
  elements.reserve(value_->size());
  for (size_t i = 0; i < value_->size(); ++i) {
    elements.emplace_back((*value_)[i], path_ + "[" + std::to_string(i) + "]", streamed_);
  }
  return elements;
}

std::vector<std::pair<std::string, VLRemoteJSONReader>> VLRemoteJSONReader::members() const {
  requireObject();
  std::vector<std::pair<std::string, VLRemoteJSONReader>> list;
  for (auto it = value_->begin(); it != value_->end(); ++it) {
    list.emplace_back(it.key(), VLRemoteJSONReader(it.value(), path_ + "[\"" + it.key() + "\"]", streamed_));
  }
  return list;
}
