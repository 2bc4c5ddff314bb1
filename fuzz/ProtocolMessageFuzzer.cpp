// Feeds arbitrary lines to the host's parser of provider messages, and what parses to the
// codec that reads items, errors and change reports out of it. Besides crashes and
// sanitizer reports it checks two properties: an item that decodes encodes to JSON that
// decodes to the same item; and the streaming parser (item lists decoded while the line is
// read) accepts the same lines as the document parser and reads the same items from them.
#include <cstddef>
#include <cstdint>
#include <optional>
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

std::optional<VLRemoteMessage> parsed(std::string_view line, bool streamItems) {
  try {
    return VLRemoteMessage::parse(line, streamItems);
  } catch (const VLRemoteMalformedMessage&) {
    return std::nullopt;
  }
}

// The items of the list `name`, encoded, or none when the list is missing or invalid.
std::optional<nlohmann::json> listOf(const VLRemoteMessage& message, const char* name) {
  try {
    return codec().encodeItems(codec().decodeItems(message.body().field(name)));
  } catch (const VLException&) {
    return std::nullopt;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view line(reinterpret_cast<const char*>(data), size);
  auto message = parsed(line, false);
  auto streamed = parsed(line, true);
  if (message.has_value() != streamed.has_value()) __builtin_trap();
  if (!message) return 0;
  for (const char* name : {"items", "updated"}) {
    if (listOf(*message, name) != listOf(*streamed, name)) __builtin_trap();
  }
  VLRemoteJSONReader reader = message->body();
  attempt([&] { checkItemRoundTrip(reader.field("item")); });
  attempt([&] { checkItemRoundTrip(reader.field("observedItem")); });
  attempt([&] { codec().decodeOptionalError(reader); });
  attempt([&] {
    for (const auto& [key, value] : reader.field("transferResults").members()) checkItemRoundTrip(value);
  });
  attempt([&] { VLRemoteCodec::decodeValue(reader.field("options")); });
  return 0;
}
