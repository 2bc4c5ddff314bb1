// VLEvent: one change reported by an observed item collection: a type word and the item
// it concerns (absent for events such as the start of a reload or a collection error).
//
// Events are immutable once made and shared as std::shared_ptr<const VLEvent> (VLEventRef),
// so any thread may read them. They have no content equality: two events with the same
// type and item are different events, told apart by identity.
#pragma once

#include <memory>
#include <string>

#include "Core/VLObject.h"
#include "Vaultline/VLItem.h"

// The type words shared by the collection observer and the suites (never destroyed, like
// every string constant of the library).
extern const std::string& VLEventInsert;  // "insert"
extern const std::string& VLEventMove;    // "move"
extern const std::string& VLEventDelete;  // "delete"
extern const std::string& VLEventUpdate;  // "update"
extern const std::string& VLEventReload;  // "reload"

class VLEvent;
using VLEventRef = std::shared_ptr<const VLEvent>;

class VLEvent : public VLObject {
 public:
  // Makes an event of kind `type` about `item`. The item may be null for events that do
  // not concern one item.
  static VLEventRef make(std::string type, VLItemRef item);

  // Returns the type word ("insert", "reload", "encountered-error: …").
  const std::string& type() const { return type_; }
  // Returns the item the event is about, or null for events about no single item.
  const VLItemRef& item() const { return item_; }

  // Returns "<VLEvent: 0x…, type>".
  std::string description() const override;

 private:
  VLEvent(std::string type, VLItemRef item) : type_(std::move(type)), item_(std::move(item)) {}

  const std::string type_;
  const VLItemRef item_;
};
