#include "Validations/VLExpectationCloseMatch.h"

#include "Core/VLFormat.h"
#include "Validations/VLExpectationValues.h"
#include "Validations/VLExpectedEvent.h"
#include "Validations/VLItemDescription.h"

std::shared_ptr<const VLExpectationCloseMatch> VLExpectationCloseMatch::make(VLItemRef item,
                                                                             std::set<std::string> nonmatchingKeys) {
  return std::shared_ptr<const VLExpectationCloseMatch>(
      new VLExpectationCloseMatch(std::move(item), std::move(nonmatchingKeys)));
}

std::string VLExpectationCloseMatch::nonmatchingReasonForExpectedEvent(const VLExpectedEvent& expectedEvent) const {
  auto closest = expectedEvent.closestMatch();
  std::string reason = VLFormat("Closest match was\n%@\nbut these keys differed from expectation:",
                                vl_prettyDescription(closest ? closest->item() : VLItemRef()));
  for (const std::string& key : nonmatchingKeys_) {
    VLValue got = item_ ? item_->valueForKey(key) : VLValue();
    reason += VLFormat("\n%@: got %@, but expected %@", key, vl_expectationDescription(got),
                       vl_expectationDescription(expectedEvent.item().valueForKey(key)));
  }
  return reason;
}

VLNearMiss VLExpectationCloseMatch::nearMissForExpectedEvent(const VLExpectedEvent& expectedEvent) const {
  VLNearMiss miss{expectedEvent.eventDescription(), vl_prettyDescription(item_), {}};
  for (const std::string& key : expectedEvent.sortedExpectedKeys()) {
    miss.keys.push_back({key, vl_expectationDescription(expectedEvent.item().valueForKey(key)),
                         vl_expectationDescription(item_ ? item_->valueForKey(key) : VLValue()),
                         nonmatchingKeys_.count(key) > 0});
  }
  return miss;
}
