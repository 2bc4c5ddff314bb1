// The host's decoding of one page of items (a collections.items notification of N items shaped
// like the reference provider's seeded files), three ways:
//   Document   nlohmann::json::parse into a document, then the codec over it (the old path);
//   Streaming  VLRemoteMessage::parse with the item lists decoded while the line is read
//              (nlohmann's event parser; what the host uses);
//   Simdjson   simdjson's on-demand parser over the same line, the plain fields straight into
//              the attributes: the comparison that decided between the two event parsers.
// Each reports items and bytes per second. The decoders must agree: the benchmark checks
// that each read every item.
//
//   scripts/bench --benchmark_filter=DecodePage
#include <benchmark/benchmark.h>

#include <simdjson.h>

#include <string>

#include "Remote/VLRemoteCodec.h"
#include "Remote/VLRemoteItemFields.h"
#include "Remote/VLRemoteMessage.h"

namespace {

const VLRemoteCodec& codec() {
  static const VLRemoteCodec shared("org.example.bench", "org.example.bench");
  return shared;
}

std::string pageLine(int64_t count) {
  nlohmann::json items = nlohmann::json::array();
  for (int64_t i = 0; i < count; ++i) {
    VLItemAttributes a;
    a.providerIdentifier = a.providerID = "org.example.bench";
    a.itemIdentifier = "bulk-" + std::to_string(i);
    a.parentItemIdentifier = "bulk-folder-" + std::to_string(i / 100);
    a.filename = a.displayName = "File " + std::to_string(i) + ".txt";
    a.typeIdentifier = "public.plain-text";
    a.documentSize = 0;
    a.capabilities = 0x3f;
    a.creationDate = a.contentModificationDate = VLDate(1732183201.5 + static_cast<double>(i));
    a.lastUsedDate = VLDate(1732183301.25 + static_cast<double>(i));
    a.downloaded = a.uploaded = a.mostRecentVersionDownloaded = true;
    items.push_back(codec().encodeItem(*VLItem::make(std::move(a))));
  }
  std::string line = VLRemoteMessage::notificationLine("collections.items", {{"subscription", 1}, {"items", items}});
  line.pop_back();  // the line feed
  return line;
}

void report(benchmark::State& state, size_t bytes) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void DecodePageDocument(benchmark::State& state) {
  const std::string line = pageLine(state.range(0));
  for (auto _ : state) {
    auto message = VLRemoteMessage::parse(line);
    auto items = codec().decodeItems(message.body().field("items"));
    if (items.size() != static_cast<size_t>(state.range(0))) state.SkipWithError("items lost");
  }
  report(state, line.size());
}
BENCHMARK(DecodePageDocument)->Arg(10000)->Unit(benchmark::kMillisecond);

void DecodePageStreaming(benchmark::State& state) {
  const std::string line = pageLine(state.range(0));
  for (auto _ : state) {
    auto message = VLRemoteMessage::parse(line, true);
    auto items = codec().decodeItems(message.body().field("items"));
    if (items.size() != static_cast<size_t>(state.range(0))) state.SkipWithError("items lost");
  }
  report(state, line.size());
}
BENCHMARK(DecodePageStreaming)->Arg(10000)->Unit(benchmark::kMillisecond);

// The plain fields by simdjson; enough to compare the parsers' speed on the same items (a
// page of these items has no other fields).
std::vector<VLItemRef> simdjsonItems(simdjson::ondemand::parser& parser, const simdjson::padded_string& line) {
  using Kind = VLRemoteItemFields::Kind;
  std::vector<VLItemRef> items;
  auto document = parser.iterate(line);
  simdjson::ondemand::array list = document["params"]["items"].get_array();
  for (auto element : list) {
    VLItemAttributes a;
    VLRemoteItemFields::Seen seen = 0;
    for (auto member : element.get_object()) {
      const auto* field = VLRemoteItemFields::find(member.unescaped_key().value());
      if (!field) continue;
      auto value = member.value();
      seen |= VLRemoteItemFields::bit(*field);
      switch (field->kind) {
        case Kind::String: a.*field->string = std::string(value.get_string().value()); break;
        case Kind::OptionalString: a.*field->optionalString = std::string(value.get_string().value()); break;
        case Kind::Boolean: a.*field->boolean = value.get_bool().value(); break;
        case Kind::Integer: a.*field->integer = value.get_int64().value(); break;
        case Kind::Date: a.*field->date = VLDate(value.get_double().value()); break;
        case Kind::Other: a.capabilities = value.get_uint64().value(); break;
      }
    }
    if (!(seen & VLRemoteItemFields::bit(VLRemoteItemFields::displayName()))) a.displayName = a.filename;
    items.push_back(VLItem::make(std::move(a)));
  }
  return items;
}

void DecodePageSimdjson(benchmark::State& state) {
  const std::string text = pageLine(state.range(0));
  simdjson::ondemand::parser parser;
  for (auto _ : state) {
    // The copy into a padded buffer is part of the cost: a received line has no padding.
    simdjson::padded_string line(text);
    auto items = simdjsonItems(parser, line);
    if (items.size() != static_cast<size_t>(state.range(0))) state.SkipWithError("items lost");
  }
  report(state, text.size());
}
BENCHMARK(DecodePageSimdjson)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
