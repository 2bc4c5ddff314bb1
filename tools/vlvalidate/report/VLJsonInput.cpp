#include "vlvalidate/VLJsonInput.h"

#include "Choice/VLUsageError.h"

using json = nlohmann::ordered_json;

namespace {

// Walks the document without building it and stops at the first value nested too deeply.
class DepthLimit : public nlohmann::json_sax<json> {
 public:
  explicit DepthLimit(size_t limit) : limit_(limit) {}

  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t&) override { return true; }
  bool string(string_t&) override { return true; }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override { return enter(); }
  bool key(string_t&) override { return true; }
  bool end_object() override { return leave(); }
  bool start_array(std::size_t) override { return enter(); }
  bool end_array() override { return leave(); }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
    errorAt_ = position;
    return false;
  }

  bool tooDeep() const { return tooDeep_; }
  size_t errorAt() const { return errorAt_; }

 private:
  bool enter() {
    tooDeep_ = ++depth_ > limit_;
    return !tooDeep_;
  }
  bool leave() {
    --depth_;
    return true;
  }

  size_t limit_;
  size_t depth_ = 0;
  bool tooDeep_ = false;
  size_t errorAt_ = 0;
};

const char* kindName(VLJsonInput::Shape::Kind kind) {
  using Kind = VLJsonInput::Shape::Kind;
  switch (kind) {
    case Kind::Any: return "any value";
    case Kind::String: return "a string";
    case Kind::Number: return "a number";
    case Kind::Integer: return "an integer";
    case Kind::Count: return "a whole number of 0 or more";
    case Kind::Boolean: return "true or false";
    case Kind::Object: return "an object";
    case Kind::Array: return "an array";
  }
  return "?";
}

bool fits(const json& value, VLJsonInput::Shape::Kind kind) {
  using Kind = VLJsonInput::Shape::Kind;
  switch (kind) {
    case Kind::Any: return true;
    case Kind::String: return value.is_string();
    case Kind::Number: return value.is_number();
    case Kind::Integer: return value.is_number_integer();
    case Kind::Count: return value.is_number_unsigned();
    case Kind::Boolean: return value.is_boolean();
    case Kind::Object: return value.is_object();
    case Kind::Array: return value.is_array();
  }
  return false;
}

void checkAt(const json& value, const VLJsonInput::Shape& shape, const std::string& what, const std::string& path) {
  if (value.is_null() && shape.nullable) return;
  if (!fits(value, shape.kind)) {
    throw VLUsageError(what + ": " + (path.empty() ? "the document" : "member " + path) + " is " +
                       std::string(value.type_name()) + ", not " + kindName(shape.kind));
  }
  if (shape.kind == VLJsonInput::Shape::Kind::Object) {
    for (const auto& [key, member] : shape.members) {
      const std::string at = path.empty() ? key : path + "." + key;
      auto found = value.find(key);
      if (found == value.end()) {
        if (member.required) throw VLUsageError(what + ": member " + at + " is missing");
        continue;
      }
      checkAt(*found, member, what, at);
    }
  } else if (shape.kind == VLJsonInput::Shape::Kind::Array && shape.element) {
    for (size_t i = 0; i < value.size(); ++i) {
      checkAt(value[i], *shape.element, what, path + "[" + std::to_string(i) + "]");
    }
  }
}

}  // namespace

json VLJsonInput::parse(const std::string& text, const std::string& what, size_t maxDepth) {
  DepthLimit limit(maxDepth);
  if (!json::sax_parse(text, &limit)) {
    if (limit.tooDeep()) {
      throw VLUsageError(what + " nests arrays and objects deeper than " + std::to_string(maxDepth) + " levels");
    }
    throw VLUsageError(what + " is not JSON (it stops making sense at byte " + std::to_string(limit.errorAt()) + ")");
  }
  return json::parse(text);
}

void VLJsonInput::check(const json& value, const Shape& shape, const std::string& what) {
  checkAt(value, shape, what, "");
}
