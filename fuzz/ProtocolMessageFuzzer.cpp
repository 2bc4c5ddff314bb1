// Feeds arbitrary lines to the host's parser of provider messages, and what parses to the
// codec that reads items, errors and change reports out of it. Besides crashes and
// sanitizer reports it checks one property: an item that decodes encodes to JSON that
// decodes to the same item.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Remote/VLRemoteCodec.h"
#include "Remote/VLRemoteMessage.h"

namespace {

const VLRemoteCodec& codec() {
  static const VLRemoteCodec shared("org.example.fuzz", "org.example.fuzz");
  return shared;
}

void checkItemRoundTrip(const VLRemoteJSONReader& reader) {
  VLItemRef item = codec().decodeItem(reader);
  nlohmann::json encoded = codec().encodeItem(*item);
  nlohmann::json reparsed = nlohmann::json::parse(encoded.dump());
  VLItemRef again = codec().decodeItem(VLRemoteJSONReader(reparsed, "again"));
  if (codec().encodeItem(*again) != encoded) __builtin_trap();
}

// Runs one decoding step; a value of the wrong shape is an expected outcome, not a finding.
template <class Step>
void attempt(Step step) {
  try {
    step();
  } catch (const VLException&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view line(reinterpret_cast<const char*>(data), size);
  VLRemoteMessage message;
  try {
    message = VLRemoteMessage::parse(line);
  } catch (const VLRemoteMalformedMessage&) {
    return 0;
  }
  const nlohmann::json& body = message.kind == VLRemoteMessage::Kind::Result ? message.result : message.params;
  VLRemoteJSONReader reader(body, "body");
  attempt([&] { checkItemRoundTrip(reader.field("item")); });
  attempt([&] { checkItemRoundTrip(reader.field("observedItem")); });
  attempt([&] { codec().decodeItems(reader.field("items")); });
  attempt([&] { codec().decodeItems(reader.field("updated")); });
  attempt([&] { codec().decodeOptionalError(reader); });
  attempt([&] {
    for (const auto& [key, value] : reader.field("transferResults").members()) checkItemRoundTrip(value);
  });
  attempt([&] { VLRemoteCodec::decodeValue(reader.field("options")); });
  return 0;
}
