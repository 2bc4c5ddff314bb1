// VLRemoteStreamParser: parses one line of the provider protocol in a single pass over its
// text, without a document for the item lists. Every array at "result.items", "params.items"
// and "params.updated" is decoded into items as it is read (VLRemoteStreamedItems) and left
// in the document as an empty array; the rest of the message becomes a document as usual.
// A page of 10,000 items thus costs one record per item instead of a tree of values and
// strings that is thrown away once the items are made.
//
// What it accepts and how it fails are those of nlohmann::json::parse: the same JSON, the
// same error (a nlohmann::json::exception) for text that is not JSON. An item that is not
// valid does not fail the parse: its list records the reason, naming the field, and the
// codec reports it when the list is read. Bounds on size and depth are the caller's
// (VLRemoteMessage::parse checks them before parsing). Stateless; safe from any thread.
#pragma once

#include <string_view>

#include <nlohmann/json.hpp>

#include "Remote/VLRemoteStreamedItems.h"

class VLRemoteStreamParser {
 public:
  // Parses `text` into a document, decoding the item lists into `items`.
  static nlohmann::json parse(std::string_view text, VLRemoteStreamedItems& items);
};
