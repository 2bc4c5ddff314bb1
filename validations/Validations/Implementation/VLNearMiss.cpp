#include "Validations/VLNearMiss.h"

const std::string& VLNearMissKey = *new std::string("VLNearMiss");

namespace {

const std::string* nearMissText(const VLValue::Dictionary& dictionary, const char* key) {
  auto found = dictionary.find(key);
  return found == dictionary.end() ? nullptr : found->second.string();
}

}  // namespace

VLValue VLNearMiss::value() const {
  VLValue::Array rows;
  for (const Key& each : keys) {
    rows.push_back(VLValue::Dictionary{
        {"key", each.key}, {"expected", each.expected}, {"got", each.got}, {"differs", each.differs}});
  }
  return VLValue::Dictionary{{"waitingFor", waitingFor}, {"closest", closest}, {"keys", std::move(rows)}};
}

std::optional<VLNearMiss> VLNearMiss::fromValue(const VLValue& value) {
  const auto* dictionary = value.dictionary();
  if (!dictionary) return std::nullopt;
  const auto* waitingFor = nearMissText(*dictionary, "waitingFor");
  const auto* closest = nearMissText(*dictionary, "closest");
  auto rows = dictionary->find("keys");
  if (!waitingFor || !closest || rows == dictionary->end() || !rows->second.array()) return std::nullopt;
  VLNearMiss miss{*waitingFor, *closest, {}};
  for (const VLValue& row : *rows->second.array()) {
    const auto* fields = row.dictionary();
    if (!fields) return std::nullopt;
    const auto* key = nearMissText(*fields, "key");
    const auto* expected = nearMissText(*fields, "expected");
    const auto* got = nearMissText(*fields, "got");
    auto differs = fields->find("differs");
    if (!key || !expected || !got || differs == fields->end() || differs->second.kind() != VLValue::Kind::Bool) {
      return std::nullopt;
    }
    miss.keys.push_back({*key, *expected, *got, differs->second.boolValue()});
  }
  return miss;
}

std::optional<VLNearMiss> VLNearMiss::of(const VLErrorRef& error) {
  if (!error) return std::nullopt;
  auto found = error->userInfo().find(VLNearMissKey);
  return found == error->userInfo().end() ? std::nullopt : fromValue(found->second);
}
