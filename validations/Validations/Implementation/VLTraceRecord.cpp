#include "Validations/VLTraceRecord.h"

#include <algorithm>

#include "Core/VLFormat.h"
#include "Core/VLText.h"
#include "Validations/VLItemDescription.h"
#include "Validations/VLMarkAnnotator.h"
#include "Vaultline/VLItem.h"

namespace {

const VLValue kAbsentTraceValue;

// Fields that hold words of the trace itself, never a name or an identifier.
bool isTraceWord(const std::string& key) {
  static const char* const words[] = {"phase", "type", "result", "outcome", "fact"};
  return std::any_of(std::begin(words), std::end(words), [&](const char* word) { return key == word; });
}

std::string oneLine(const std::string& text) {
  std::string result;
  for (char c : text) {
    if (c == '\n') {
      result += " \u23ce ";
    } else if (c != '\r') {
      result += c;
    }
  }
  return result;
}

std::string secondsText(const VLValue& value) {
  const double seconds = value.doubleValue();
  if (seconds < 0.001) return VLFormat("%.0f µs", seconds * 1e6);
  if (seconds < 1) return VLFormat("%.1f ms", seconds * 1e3);
  return VLFormat("%.2f s", seconds);
}

}  // namespace

const char* VLTraceRecord::kindName() const {
  switch (kind_) {
    case VLTraceKind::Stream: return "stream";
    case VLTraceKind::Event: return "event";
    case VLTraceKind::Action: return "action";
    case VLTraceKind::Expectation: return "expectation";
    case VLTraceKind::Check: return "check";
    case VLTraceKind::Provider: return "provider";
  }
  return "unknown";
}

VLTraceRecord& VLTraceRecord::set(const std::string& key, VLValue value) {
  // Texts often quote the provider: a record keeps at most kVLKeptTextLimit bytes of each.
  if (const std::string* text = value.string(); text && text->size() > kVLKeptTextLimit) {
    value = vl_boundedText(*text);
  }
  for (auto& field : fields_) {
    if (field.first == key) {
      field.second = std::move(value);
      return *this;
    }
  }
  fields_.emplace_back(key, std::move(value));
  return *this;
}

const VLValue& VLTraceRecord::value(const std::string& key) const {
  for (const auto& field : fields_) {
    if (field.first == key) return field.second;
  }
  return kAbsentTraceValue;
}

std::string VLTraceRecord::text(const std::string& key) const {
  const VLValue& found = value(key);
  if (const std::string* text = found.string()) return *text;
  if (auto item = found.objectAs<VLItem>()) return vl_boundedText(vl_prettyDescription(item));
  return std::string();
}

VLTraceRecord VLTraceRecord::withMarks(const VLMarkAnnotator& annotator) const {
  VLTraceRecord marked = *this;
  for (auto& [key, value] : marked.fields_) {
    if (value.kind() == VLValue::Kind::Object) value = marked.text(key);
    if (const std::string* text = value.string(); text && !isTraceWord(key)) value = annotator.annotate(*text);
  }
  return marked;
}

std::string VLTraceRecord::line() const {
  std::string rest;
  const std::string phase = text("phase");
  const std::string id = value("id").isNone() ? "" : "#" + std::to_string(value("id").unsignedValue()) + " ";
  switch (kind_) {
    case VLTraceKind::Stream: rest = "opened " + text("stream"); break;
    case VLTraceKind::Event: {
      const std::string item = value("item").isNone() ? "(no item)" : text("item");
      rest = text("stream") + " @" + std::to_string(value("position").unsignedValue()) + " " + text("type") + " " + item;
      break;
    }
    case VLTraceKind::Action:
      if (phase == "scheduled") {
        rest = id + "scheduled " + text("action") + (value("expectedToFail").boolValue() ? " (expected to fail)" : "");
      } else {
        rest = id + text("outcome") + " in " + secondsText(value("duration"));
        if (!value("error").isNone()) rest += ": " + text("error");
      }
      break;
    case VLTraceKind::Expectation:
      if (phase == "created") {
        rest = "created " + text("description");
      } else {
        rest = text("result") + " " + text("description");
        if (!text("comment").empty()) rest += " — " + text("comment");
        if (!value("error").isNone() && text("error") != text("comment")) rest += " (" + text("error") + ")";
      }
      break;
    case VLTraceKind::Check:
      if (phase == "began") {
        rest = id + "waits up to " + VLFormat("%gs", value("timeout").doubleValue()) + " on " + text("stream") +
               " from @" + std::to_string(value("from").unsignedValue()) + " for " + text("waitingFor");
      } else if (text("outcome") == "matched") {
        rest = id + "matched @" + std::to_string(value("position").unsignedValue()) + " after " +
               secondsText(value("waited")) + ": " + text("match");
      } else {
        rest = id + text("outcome") + " after " + secondsText(value("waited")) + ": " + text("reason");
      }
      break;
    case VLTraceKind::Provider: rest = text("fact") + ": " + text("text"); break;
  }
  return VLFormat("%8.3f %-11s ", t_, std::string(kindName())) + oneLine(rest);
}
