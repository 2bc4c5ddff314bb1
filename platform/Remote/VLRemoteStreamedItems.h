// VLRemoteStreamedItems: the item lists of one received message, decoded while its line was
// parsed (VLRemoteStreamParser), so that a page of thousands of items never becomes a JSON
// document. The message's document holds an empty array in each list's place; a reader made
// with this table (VLRemoteJSONReader) leads VLRemoteCodec::decodeItems to the list by the
// field's path ("result.items", "params.items", "params.updated").
//
// A record is an item as far as parsing can take it: its plain fields set, the rest kept as
// small documents for the codec, which also supplies the session's defaults. Belongs to one
// message; read on one thread.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "Remote/VLRemoteItemFields.h"
#include "Vaultline/VLItem.h"

struct VLRemoteStreamedItems {
  struct Record {
    VLItemAttributes attributes;
    VLRemoteItemFields::Seen seen = 0;
    // The fields that are not plain, by their place in VLRemoteItemFields::all(), in the order sent.
    std::vector<std::pair<uint16_t, nlohmann::json>> deferred;
  };
  struct List {
    std::vector<Record> records;  // the elements before the first invalid one
    std::string error;            // why the first invalid element is invalid, naming the field; "" when none is
    // The items the codec made of the records (it makes them once; the records are then spent).
    std::optional<std::vector<VLItemRef>> made;
    std::string madeError;  // the codec's own complaint while making them, if any
  };

  // The list at `path`, or null when none was decoded there.
  List* find(const std::string& path) {
    auto found = lists.find(path);
    return found == lists.end() ? nullptr : &found->second;
  }

  std::map<std::string, List> lists;  // by path
};
