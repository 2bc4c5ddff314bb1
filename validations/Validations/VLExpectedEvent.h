// VLExpectedEvent: the event a validation waits for: an optional type word and a sparse
// VLExpectedItem whose recorded keys must all agree with the event's item.
//
// matchesEvent() is the predicate a cursor hands to a stream. Besides deciding, it keeps
// the best near miss in closestMatch(), across every candidate and every check made with
// this expected event, so that a failed check can say which keys differed. Type and item
// are fixed at creation; only the closest match changes. matchesEvent() runs on the
// stream's queue while the validation's thread is blocked in the check, so one expected
// event must serve one check at a time. Made by eventWithType() (or make()).
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/VLObject.h"
#include "Validations/VLEvent.h"
#include "Validations/VLExpectationCloseMatch.h"
#include "Validations/VLExpectedItem.h"

class VLExpectedEvent : public VLObject {
 public:
  // Makes an expected event of kind `type` (any kind when absent). `configure` is called
  // once, at once, with a fresh expected item (which already expects pending = false) to
  // set the keys that matter.
  static std::shared_ptr<VLExpectedEvent> eventWithType(std::optional<std::string> type,
                                                        const std::function<void(VLExpectedItem& item)>& configure);
  // The same, under the house name of an initialiser.
  static std::shared_ptr<VLExpectedEvent> make(std::optional<std::string> type,
                                               const std::function<void(VLExpectedItem& item)>& configure) {
    return eventWithType(std::move(type), configure);
  }

  // Returns the expected type word, or none for any type.
  const std::optional<std::string>& type() const { return type_; }
  // Returns the expected item; only its expectedKeys() are compared.
  const VLExpectedItem& item() const { return item_; }

  // Returns the best near miss so far, or null. Read it after a check has returned.
  std::shared_ptr<const VLExpectationCloseMatch> closestMatch() const { return closestMatch_; }
  // Replaces the near miss (a later check then has to beat this one).
  void setClosestMatch(std::shared_ptr<const VLExpectationCloseMatch> match) { closestMatch_ = std::move(match); }

  // Returns whether `event` is the one expected. A candidate of the right type and
  // identity (filename, display name, item identifier) that differs in other keys becomes
  // the closest match unless the current one differs in fewer keys; ties go to the later.
  // Throws VLException for a null event.
  bool matchesEvent(const VLEventRef& event);

  // Returns the expected keys sorted without regard to case.
  std::vector<std::string> sortedExpectedKeys() const;
  // Returns "signal (<type or any>), properties <key: value, …>" over sortedExpectedKeys().
  std::string eventDescription() const;
  // Returns "<VLExpectedEvent: 0x…, <eventDescription>>".
  std::string description() const override;

  // Returns "( a, b )" over the plain descriptions of an array's elements, or the plain
  // description of any other value.
  static std::string formatValue(const VLValue& value);

 private:
  // One expected key resolved when the event is made: its name, the expected value and the
  // reader of the candidate's value, so that matching looks nothing up by name.
  struct ResolvedKey {
    std::string key;
    VLValue expected;
    VLItem::KeyReader read = nullptr;  // null for a key items do not have
  };

  VLExpectedEvent(std::optional<std::string> type, VLExpectedItem item);
  // Returns the candidate's value of `key` (none without a candidate or a reader).
  static VLValue candidateValue(const ResolvedKey& key, const VLItemRef& candidate);

  const std::optional<std::string> type_;
  const VLExpectedItem item_;
  std::vector<ResolvedKey> identityKeys_;  // the expected identity keys, in identity order
  std::vector<ResolvedKey> otherKeys_;     // every other expected key, in expectedKeys() order
  // Written on the stream's queue during a check; read by the validation after it.
  std::shared_ptr<const VLExpectationCloseMatch> closestMatch_;
};
