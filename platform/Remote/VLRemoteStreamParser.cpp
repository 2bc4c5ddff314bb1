#include "Remote/VLRemoteStreamParser.h"

#include <algorithm>
#include <optional>
#include <type_traits>
#include <utility>

#include <simdjson.h>

#include "Remote/VLRemoteJSONReader.h"

namespace {

using json = nlohmann::json;
using Fields = VLRemoteItemFields;
using Field = VLRemoteItemFields::Field;
using List = VLRemoteStreamedItems::List;
using Record = VLRemoteStreamedItems::Record;

// Builds a document from parsing events, as nlohmann's own parser does: of repeated keys the
// last wins.
class DocumentBuilder {
 public:
  // Where the next value goes: the root, the end of the open array, or the open object's key.
  json* slot() {
    if (stack_.empty()) return &root_;
    json& container = *stack_.back();
    if (container.is_array()) {
      container.push_back(nullptr);
      return &container.back();
    }
    return &container[key_];
  }
  void value(json value) { *slot() = std::move(value); }
  void start(json empty) {
    json* container = slot();
    *container = std::move(empty);
    stack_.push_back(container);
  }
  void key(std::string& key) { key_ = std::move(key); }
  void end() { stack_.pop_back(); }
  size_t depth() const { return stack_.size(); }
  const std::string& lastKey() const { return key_; }
  json& root() { return root_; }

 private:
  json root_;
  std::vector<json*> stack_;  // the open arrays and objects, outermost first
  std::string key_;
};

// Decodes one item list from the events inside its array. Plain fields go straight into the
// record; other values become small documents (deferred for the codec, or, for a value of the
// wrong type, read once to say what was wrong in the words the codec would use).
class ItemListReader {
 public:
  ItemListReader(List& list, std::string path) : list_(list), path_(std::move(path)) {}

  // Each takes one event inside the list's array; end() returns false when it closed the list.
  void scalar(json value) {
    if (capture_) return capture_->value(std::move(value));
    if (failed_ || depth_ > 1) return;
    if (depth_ == 0) return failElement(value);
    if (field_) fieldValue(std::move(value));
  }
  void string(std::string& value) {
    if (!capture_ && !failed_ && depth_ == 1 && field_) {
      if (field_->kind == Fields::Kind::String) return setPlain([&] { record_.attributes.*field_->string = std::move(value); });
      if (field_->kind == Fields::Kind::OptionalString) {
        return setPlain([&] { record_.attributes.*field_->optionalString = std::move(value); });
      }
    }
    scalar(json(std::move(value)));
  }
  void boolean(bool value) {
    if (!capture_ && !failed_ && depth_ == 1 && field_ && field_->kind == Fields::Kind::Boolean) {
      return setPlain([&] { record_.attributes.*field_->boolean = value; });
    }
    scalar(json(value));
  }
  template <class Number>
  void number(Number value) {
    if (!capture_ && !failed_ && depth_ == 1 && field_) {
      if (field_->kind == Fields::Kind::Date) {
        return setPlain([&] { record_.attributes.*field_->date = VLDate(static_cast<double>(value)); });
      }
      // Integers beyond the signed range, and fractions, take the reader's path (and its words).
      std::optional<int64_t> integer;
      if constexpr (std::is_same_v<Number, json::number_integer_t>) integer = value;
      if constexpr (std::is_same_v<Number, json::number_unsigned_t>) {
        if (value <= static_cast<uint64_t>(INT64_MAX)) integer = static_cast<int64_t>(value);
      }
      if (integer && field_->kind == Fields::Kind::Integer) {
        return setPlain([&] { record_.attributes.*field_->integer = *integer; });
      }
      if (integer && *integer >= 0 && field_ == capabilities()) {
        return setPlain([&] { record_.attributes.capabilities = static_cast<uint64_t>(*integer); });
      }
    }
    scalar(json(value));
  }
  void start(json empty) {
    if (!capture_ && !failed_) {
      if (depth_ == 0 && empty.is_object()) {
        record_ = Record();
        pending_.clear();
        depth_ = 1;
        return;
      }
      // An element that is an array, or a field's value that is an object or array: kept whole.
      if (depth_ == 0 || (depth_ == 1 && field_)) {
        capture_.emplace();
        captureBase_ = depth_;
      }
    }
    if (capture_) capture_->start(std::move(empty));
    ++depth_;
  }
  void key(std::string& key) {
    if (capture_) return capture_->key(key);
    if (!failed_ && depth_ == 1) field_ = Fields::find(key);
  }
  bool end() {
    if (depth_ == 0) return false;
    --depth_;
    if (capture_) {
      capture_->end();
      if (depth_ == captureBase_) {
        json value = std::move(capture_->root());
        capture_.reset();
        if (depth_ == 0) {
          failElement(value);
        } else {
          fieldValue(std::move(value));
        }
      }
      return true;
    }
    if (depth_ == 0 && !failed_) finishElement();
    return true;
  }

 private:
  static const Field* capabilities() {
    static const Field* field = Fields::find("capabilities");
    return field;
  }
  std::string elementPath() const { return path_ + "[" + std::to_string(list_.records.size()) + "]"; }
  std::string fieldPath() const { return elementPath() + "." + std::string(field_->name); }
  uint16_t fieldIndex() const { return static_cast<uint16_t>(field_ - Fields::all().data()); }

  // Sets a plain field of the current element; a later value of a field replaces an earlier one.
  template <class Set>
  void setPlain(Set set) {
    set();
    record_.seen |= Fields::bit(*field_);
    forgetPending();
    if (!record_.deferred.empty()) {
      uint16_t index = fieldIndex();
      std::erase_if(record_.deferred, [index](const auto& entry) { return entry.first == index; });
    }
  }
  void forgetPending() {
    if (pending_.empty()) return;
    uint16_t index = fieldIndex();
    std::erase_if(pending_, [index](const auto& entry) { return entry.first == index; });
  }
  // A field's value that is not a plain one of the right type (null, a document, a mistyped scalar).
  void fieldValue(json value) {
    uint16_t index = fieldIndex();
    std::erase_if(record_.deferred, [index](const auto& entry) { return entry.first == index; });
    forgetPending();
    if (value.is_null()) {
      if (field_->kind != Fields::Kind::Other) Fields::clear(record_.attributes, *field_);
      record_.seen &= ~Fields::bit(*field_);
      return;
    }
    record_.seen |= Fields::bit(*field_);
    if (field_->kind == Fields::Kind::Other) {
      record_.deferred.emplace_back(index, std::move(value));
      return;
    }
    try {
      Fields::decodePlain(record_.attributes, *field_, VLRemoteJSONReader(value, fieldPath()));
    } catch (const VLRemoteJSONError& invalid) {
      // Kept until the element ends: a later value of the same field replaces this one.
      pending_.emplace_back(index, invalid.what());
    }
  }
  void failElement(const json& value) {
    try {
      VLRemoteJSONReader(value, elementPath()).requireObject();
    } catch (const VLRemoteJSONError& invalid) {
      fail(invalid.what());
    }
  }
  // Checks the element in the codec's order of fields: a wrong type or a missing required field.
  void finishElement() {
    const auto& fields = Fields::all();
    if (!pending_.empty()) {
      auto first = std::min_element(pending_.begin(), pending_.end());
      return fail(first->second);
    }
    for (const auto& field : fields) {
      if (field.required && !(record_.seen & Fields::bit(field))) {
        return fail(elementPath() + ": missing field \"" + std::string(field.name) + "\"");
      }
    }
    list_.records.push_back(std::move(record_));
  }
  void fail(std::string why) {
    list_.error = std::move(why);
    failed_ = true;
  }

  List& list_;
  const std::string path_;
  int depth_ = 0;  // 0 between elements, 1 in an element, more inside a field's value
  bool failed_ = false;
  const Field* field_ = nullptr;  // the field whose value comes next; null for an unknown one
  Record record_;
  std::vector<std::pair<uint16_t, std::string>> pending_;  // the current element's mistyped fields
  std::optional<DocumentBuilder> capture_;                 // a value being kept whole
  int captureBase_ = 0;
};

// The events of nlohmann's parser: a document for the message, a reader for each item list.
class MessageHandler {
 public:
  explicit MessageHandler(VLRemoteStreamedItems& items) : items_(items) {}

  bool null() { return scalar(nullptr); }
  bool boolean(bool value) {
    if (list_) list_->boolean(value); else document_.value(value);
    return true;
  }
  bool number_integer(json::number_integer_t value) { return number(value); }
  bool number_unsigned(json::number_unsigned_t value) { return number(value); }
  bool number_float(json::number_float_t value, const std::string&) { return number(value); }
  bool string(std::string& value) {
    if (list_) list_->string(value); else document_.value(std::move(value));
    return true;
  }
  bool binary(json::binary_t& value) { return scalar(json::binary(std::move(value))); }
  bool start_object(std::size_t) {
    if (list_) {
      list_->start(json::object());
      return true;
    }
    // A top-level member's object: the lists sit in "result" and "params".
    if (document_.depth() == 1) payload_ = document_.lastKey();
    document_.start(json::object());
    return true;
  }
  bool start_array(std::size_t) {
    if (list_) {
      list_->start(json::array());
      return true;
    }
    const std::string& key = document_.lastKey();
    if (document_.depth() == 2 && (payload_ == "result" || payload_ == "params") &&
        (key == "items" || (key == "updated" && payload_ == "params"))) {
      std::string path = payload_ + "." + key;
      document_.value(json::array());
      List& list = items_.lists[path] = List();
      list_.emplace(list, std::move(path));
      return true;
    }
    document_.start(json::array());
    return true;
  }
  bool key(std::string& key) {
    if (list_) list_->key(key); else document_.key(key);
    return true;
  }
  bool end_object() { return end(); }
  bool end_array() { return end(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) {
    // The same exception nlohmann::json::parse throws.
    throw error;
  }

  json& document() { return document_.root(); }

 private:
  bool scalar(json value) {
    if (list_) list_->scalar(std::move(value)); else document_.value(std::move(value));
    return true;
  }
  template <class Number>
  bool number(Number value) {
    if (list_) list_->number(value); else document_.value(value);
    return true;
  }
  bool end() {
    if (list_) {
      if (!list_->end()) list_.reset();
      return true;
    }
    document_.end();
    return true;
  }

  VLRemoteStreamedItems& items_;
  DocumentBuilder document_;
  std::string payload_;                  // the top-level member whose object is open
  std::optional<ItemListReader> list_;  // the item list being read
};

// simdjson's on-demand parser, turned into the same events. It reads the text several times
// faster than nlohmann's parser; any text it refuses goes to nlohmann's, whose verdict and
// words stand.
namespace fast {

using simdjson::ondemand::json_type;
using simdjson::ondemand::number_type;

void walk(simdjson::ondemand::value value, MessageHandler& handler);

void walkObject(simdjson::ondemand::object object, MessageHandler& handler) {
  handler.start_object(0);
  for (auto member : object) {
    simdjson::ondemand::field field;
    if (auto error = std::move(member).get(field)) throw simdjson::simdjson_error(error);
    std::string key(field.unescaped_key().value());
    handler.key(key);
    walk(field.value(), handler);
  }
  handler.end_object();
}

void walkArray(simdjson::ondemand::array array, MessageHandler& handler) {
  handler.start_array(0);
  for (auto element : array) walk(element.value(), handler);
  handler.end_array();
}

void walk(simdjson::ondemand::value value, MessageHandler& handler) {
  switch (value.type().value()) {
    case json_type::object: return walkObject(value.get_object().value(), handler);
    case json_type::array: return walkArray(value.get_array().value(), handler);
    case json_type::string: {
      std::string text(value.get_string().value());
      handler.string(text);
      return;
    }
    case json_type::boolean: handler.boolean(value.get_bool().value()); return;
    case json_type::null:
      if (!value.is_null().value()) throw simdjson::simdjson_error(simdjson::N_ATOM_ERROR);
      handler.null();
      return;
    case json_type::number: {
      // Integers beyond 64 bits fail here (nlohmann reads them as fractions).
      simdjson::ondemand::number number = value.get_number().value();
      switch (number.get_number_type()) {
        case number_type::signed_integer: {
          // As nlohmann: negative integers signed, the others unsigned.
          int64_t integer = number.get_int64();
          if (integer < 0) {
            handler.number_integer(integer);
          } else {
            handler.number_unsigned(static_cast<uint64_t>(integer));
          }
          return;
        }
        case number_type::unsigned_integer: handler.number_unsigned(number.get_uint64()); return;
        case number_type::floating_point_number: handler.number_float(number.get_double(), std::string()); return;
      }
      throw simdjson::simdjson_error(simdjson::NUMBER_ERROR);
    }
  }
  throw simdjson::simdjson_error(simdjson::TAPE_ERROR);
}

// Whether nlohmann's parser must read `text` itself: control characters (which it refuses
// inside strings) and escaped surrogates (which it checks pair by pair) are left to it, so
// that the two can never disagree on them.
bool needsCarefulParser(std::string_view text) {
  for (size_t i = 0; i < text.size(); ++i) {
    auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20) return true;
    if (byte == '\\' && i + 2 < text.size() && text[i + 1] == 'u' && (text[i + 2] == 'd' || text[i + 2] == 'D')) {
      return true;
    }
  }
  return false;
}

// Parses `text` with simdjson into `items` and the returned document; none when simdjson
// refuses it (then nothing was kept).
std::optional<json> parse(std::string_view text, VLRemoteStreamedItems& items) {
  if (needsCarefulParser(text)) return std::nullopt;
  // One parser per thread: it keeps its buffers for the next line.
  thread_local simdjson::ondemand::parser parser;
  try {
    VLRemoteStreamedItems decoded;
    MessageHandler handler(decoded);
    simdjson::padded_string padded(text);
    simdjson::ondemand::document document = parser.iterate(padded);
    // A message is an object; anything else is left to the careful parser's words.
    if (document.type().value() != json_type::object) return std::nullopt;
    walkObject(document.get_object().value(), handler);
    // Anything after the object (a location inside the text) is left to the careful parser.
    if (!document.current_location().error()) return std::nullopt;
    items = std::move(decoded);
    return std::move(handler.document());
  } catch (const simdjson::simdjson_error&) {
    return std::nullopt;
  }
}

}  // namespace fast

}  // namespace

nlohmann::json VLRemoteStreamParser::parse(std::string_view text, VLRemoteStreamedItems& items) {
  if (auto document = fast::parse(text, items)) return std::move(*document);
  MessageHandler handler(items);
  json::sax_parse(text.begin(), text.end(), &handler);
  return std::move(handler.document());
}
