// VLNearMiss: a failed check's closest candidate as data: every key the expected event
// named, with what was expected, what the closest candidate had, and whether the two
// differed. Views draw it as a table instead of reading the failure's sentence.
//
// VLExpectationCloseMatch makes it beside the reason text; VLEventCursor puts it in the
// failing error's userInfo (under VLNearMissKey), where it travels with the expectation and
// is cut like every other text of the error. A plain value, safe to copy between threads.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Core/VLError.h"
#include "Core/VLValue.h"

// The userInfo key under which a failed check's error carries its near miss (value()).
extern const std::string& VLNearMissKey;

struct VLNearMiss {
  // One expected key; both values are written as expectation texts write values.
  struct Key {
    std::string key;
    std::string expected;
    std::string got;  // the closest candidate's value
    bool differs = false;
    bool operator==(const Key&) const = default;
  };

  std::string waitingFor;  // the expected event's description ("signal (insert), properties …")
  std::string closest;     // the closest candidate's item, on one line ("(null)" for none)
  std::vector<Key> keys;   // every expected key, in the order waitingFor lists them

  bool operator==(const VLNearMiss&) const = default;

  // Returns the near miss as a dictionary: "waitingFor", "closest" and "keys", an array of
  // dictionaries with "key", "expected", "got" and "differs".
  VLValue value() const;
  // Reads what value() made; none when `value` is not of that shape.
  static std::optional<VLNearMiss> fromValue(const VLValue& value);
  // Returns the near miss `error` carries under VLNearMissKey, or none (also for no error).
  static std::optional<VLNearMiss> of(const VLErrorRef& error);
};
