// VLExpectationCloseMatch: the best near miss an expected event has seen so far: a
// candidate item that had the right type and identity but differed in some keys.
//
// Immutable once made; shared as std::shared_ptr<const VLExpectationCloseMatch>. Made on
// the stream's queue during matching and read by the validation after its check returned.
#pragma once

#include <memory>
#include <set>
#include <string>

#include "Validations/VLNearMiss.h"
#include "Vaultline/VLItem.h"

class VLExpectedEvent;

class VLExpectationCloseMatch {
 public:
  // Makes a near miss of `item` (null for a candidate event without an item) that differed
  // from the expectation in `nonmatchingKeys`.
  static std::shared_ptr<const VLExpectationCloseMatch> make(VLItemRef item, std::set<std::string> nonmatchingKeys);

  // Return the near-missing candidate's item (null for an event without one) and the keys
  // in which it differed.
  const VLItemRef& item() const { return item_; }
  const std::set<std::string>& nonmatchingKeys() const { return nonmatchingKeys_; }

  // Returns the failure text of a check with `expectedEvent`: "Closest match was", the
  // one-line description of the expected event's closest match, then one line
  // "<key>: got <this item's value>, but expected <expected value>" per differing key.
  std::string nonmatchingReasonForExpectedEvent(const VLExpectedEvent& expectedEvent) const;
  // Returns the same near miss as data: `expectedEvent`'s description, this item on one line,
  // and every expected key with the expected value, this item's value and whether they
  // differed, in the order the expected event's description lists them.
  VLNearMiss nearMissForExpectedEvent(const VLExpectedEvent& expectedEvent) const;

 private:
  VLExpectationCloseMatch(VLItemRef item, std::set<std::string> keys)
      : item_(std::move(item)), nonmatchingKeys_(std::move(keys)) {}

  const VLItemRef item_;
  const std::set<std::string> nonmatchingKeys_;
};
