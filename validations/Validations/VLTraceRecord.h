// VLTraceRecord: one entry of a case's trace, the story of what the provider did while the
// case ran: streams opened, events appended, actions scheduled and finished, expectations
// created and settled, cursor checks begun and ended, and facts about the provider itself.
//
// A record is a plain value: its kind, `t` (seconds since the case started) and named
// fields in a fixed order per kind (docs/report-formats.md lists them with examples). The
// validator delivers records to its trace callback in order (see VLValidator::setTraceBlock);
// withMarks() writes the validator's marks into the texts, as the console shows them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Core/VLValue.h"

class VLMarkAnnotator;

enum class VLTraceKind {
  Stream,       // a stream opened: streamID, stream
  Event,        // an event appended: streamID, stream, position, type, item
  Action,       // scheduled: id, action, expectedToFail; finished: id, action, outcome, error, duration
  Expectation,  // created: description; settled: description, result, comment, error
  Check,        // began: id, streamID, stream, waitingFor, timeout, from; ended: id, streamID, stream,
                // waitingFor, outcome, position, match, reason, waited
  Provider,     // fact ("protocol-fault", "stderr", "gone"), text
};

class VLTraceRecord {
 public:
  using Fields = std::vector<std::pair<std::string, VLValue>>;

  // Makes a record of `kind` at time 0 without fields.
  explicit VLTraceRecord(VLTraceKind kind) : kind_(kind) {}

  VLTraceKind kind() const { return kind_; }
  // Returns the kind as written in reports: "stream", "event", "action", "expectation",
  // "check" or "provider".
  const char* kindName() const;
  // Seconds since the case started (its validator's startValidation()).
  double t() const { return t_; }
  void setT(double seconds) { t_ = seconds; }

  // Appends the field `key` with `value` (a key already present is replaced in place); a text
  // longer than kVLKeptTextLimit bytes is kept cut by vl_boundedText.
  // Returns the record, so that fields can be chained.
  VLTraceRecord& set(const std::string& key, VLValue value);
  // Returns the fields in their order.
  const Fields& fields() const { return fields_; }
  // Returns the value of `key`, none when absent.
  const VLValue& value(const std::string& key) const;
  // Returns the text of `key`: a string as it is, an item as its one-line description
  // (events and checks keep the item itself and describe it only when read: most records
  // are never shown, and cut like a text field); "" when absent or of another kind.
  std::string text(const std::string& key) const;

  // Returns a copy whose texts carry " [mark]" after every marked identifier and name, with
  // items turned into their descriptions. The words of the record (phase, type, result,
  // outcome, fact) are left alone.
  VLTraceRecord withMarks(const VLMarkAnnotator& annotator) const;
  // Returns the record on one line for people, e.g.
  // "   0.012 event       events for item-3 [0] @4 insert Validation-Foo [1] id:item-9 [1] 📱".
  // Texts of several lines are kept on one: their line breaks become " ⏎ ".
  std::string line() const;

 private:
  VLTraceKind kind_;
  double t_ = 0;
  Fields fields_;
};
