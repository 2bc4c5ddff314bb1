#include "Validations/VLExpectedEvent.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Core/VLLog.h"
#include "Validations/VLExpectationValues.h"

namespace {

// A candidate that differs in one of these is another item altogether, not a near miss.
const std::array<const char*, 3> kIdentityKeys = {"filename", "displayName", "itemIdentifier"};

bool lessIgnoringCase(const std::string& a, const std::string& b) {
  return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) < std::tolower(static_cast<unsigned char>(y));
  });
}

}  // namespace

std::shared_ptr<VLExpectedEvent> VLExpectedEvent::eventWithType(
    std::optional<std::string> type, const std::function<void(VLExpectedItem& item)>& configure) {
  VL_ASSERT(static_cast<bool>(configure), "expected event %@ needs a configuration callback", type);
  VLExpectedItem item;
  configure(item);
  return std::shared_ptr<VLExpectedEvent>(new VLExpectedEvent(std::move(type), std::move(item)));
}

VLExpectedEvent::VLExpectedEvent(std::optional<std::string> type, VLExpectedItem item)
    : type_(std::move(type)), item_(std::move(item)) {
  const std::set<std::string>& keys = item_.expectedKeys();
  for (const char* identityKey : kIdentityKeys) {
    if (keys.count(identityKey)) {
      identityKeys_.push_back({identityKey, item_.valueForKey(identityKey), VLItem::readerForKey(identityKey)});
    }
  }
  for (const std::string& key : keys) {
    bool identity = std::find_if(kIdentityKeys.begin(), kIdentityKeys.end(),
                                 [&](const char* identityKey) { return key == identityKey; }) != kIdentityKeys.end();
    if (!identity) otherKeys_.push_back({key, item_.valueForKey(key), VLItem::readerForKey(key)});
  }
}

VLValue VLExpectedEvent::candidateValue(const ResolvedKey& key, const VLItemRef& candidate) {
  return candidate && key.read ? key.read(candidate->attributes()) : VLValue();
}

bool VLExpectedEvent::matchesEvent(const VLEventRef& event) {
  if (!event) throw VLException("VLExpectedEvent::matchesEvent: no event given");
  VLLog::debug("checking candidate %@ against expectation %@", event, *this);
  const VLItemRef& candidate = event->item();
  if (candidate && candidate->isPending()) {
    VLLog::debug("excluding candidate up-front since it's a synthesized pending event");
    return false;
  }
  if (type_ && *type_ != event->type()) {
    VLLog::debug("doesn't match: wrong type");
    return false;
  }

  for (const ResolvedKey& key : identityKeys_) {
    VLValue actual = candidateValue(key, candidate);
    if (!vl_expectationIsEqual(key.expected, actual)) {
      VLLog::debug("doesn't match: value %@ doesn't match %@ for key %@", key.expected, actual, key.key);
      return false;
    }
  }

  // The identity keys agree by now; every other key is compared, without an early exit.
  std::set<std::string> differing;
  for (const ResolvedKey& key : otherKeys_) {
    VLValue actual = candidateValue(key, candidate);
    if (!vl_expectationIsEqual(key.expected, actual)) {
      differing.insert(key.key);
      VLLog::debug("close non-match: value %@ doesn't match %@ for key %@", key.expected, actual, key.key);
    }
  }
  if (differing.empty()) {
    VLLog::debug("matches");
    return true;
  }
  if (closestMatch_ && closestMatch_->nonmatchingKeys().size() < differing.size()) return false;
  closestMatch_ = VLExpectationCloseMatch::make(candidate, std::move(differing));
  return false;
}

std::vector<std::string> VLExpectedEvent::sortedExpectedKeys() const {
  std::vector<std::string> keys(item_.expectedKeys().begin(), item_.expectedKeys().end());
  std::sort(keys.begin(), keys.end(), lessIgnoringCase);
  return keys;
}

std::string VLExpectedEvent::eventDescription() const {
  std::string properties;
  for (const std::string& key : sortedExpectedKeys()) {
    if (!properties.empty()) properties += ", ";
    properties += VLFormat("%@: %@", key, vl_expectationDescription(item_.valueForKey(key)));
  }
  return VLFormat("signal (%@), properties %@", type_ ? *type_ : std::string("any"), properties);
}

std::string VLExpectedEvent::description() const {
  return VLFormat("<%@: %@, %@>", className(), addressDescription(), eventDescription());
}

std::string VLExpectedEvent::formatValue(const VLValue& value) {
  const VLValue::Array* array = value.array();
  if (!array) return value.description();
  std::string joined;
  for (const VLValue& element : *array) {
    if (!joined.empty()) joined += ", ";
    joined += element.description();
  }
  return VLFormat("( %@ )", joined);
}
