// VLJsonInput: JSON from outside the program (report files, baselines, merge inputs, the live
// UI's request bodies), read with bounds: a nesting limit checked before any value is built,
// so that a hostile document ends in a usage error and never in a stack overflow, and a
// type check of the members a reader will use, so that no reader meets a member of a type
// it does not expect. Stateless; every function is safe from any thread.
#pragma once

#include <cstddef>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

class VLJsonInput {
 public:
  // The deepest nesting of arrays and objects accepted. A report nests about eight levels.
  static constexpr size_t kMaxDepth = 256;

  // Parses `text` after checking its nesting (up to `maxDepth`). Throws VLUsageError naming
  // `what` ("report 'a.json'") and the fault: not JSON (with the byte where it stops), or
  // nested too deeply.
  static nlohmann::ordered_json parse(const std::string& text, const std::string& what, size_t maxDepth = kMaxDepth);

  // What a member must be. Members a shape does not list may hold anything; a member it
  // lists may be absent (readers fall back to a default) unless `required`, and may be null
  // where `nullable`.
  struct ShapeMember;
  struct Shape {
    enum class Kind { Any, String, Number, Integer, Count, Boolean, Object, Array };  // Count: 0 or more
    Kind kind = Kind::Any;
    bool required = false;
    bool nullable = false;
    std::vector<ShapeMember> members;  // for Object
    std::shared_ptr<Shape> element;                      // for Array: the shape of each element

    // A shape of `kind` with no members listed.
    static Shape of(Kind kind);
    // An object whose listed members have these shapes.
    static Shape object(std::vector<ShapeMember> members);
    // An array each of whose elements has the shape `element`.
    static Shape arrayOf(Shape element);
    // This shape, also allowing null.
    Shape orNull() const;
    // This shape, as a member that must be present.
    Shape needed() const;
  };
  // One listed member of an object's shape: its name and its shape. A struct of its own, not a
  // std::pair, whose traits would need Shape complete inside Shape.
  struct ShapeMember {
    std::string name;
    Shape shape;
  };

  // Checks `value` against `shape`. Throws VLUsageError naming `what`, the member's path
  // ("cases[3].attempts[0].verdict") and what it should have been.
  static void check(const nlohmann::ordered_json& value, const Shape& shape, const std::string& what);
};

inline VLJsonInput::Shape VLJsonInput::Shape::of(Kind kind) { return Shape{kind, false, false, {}, nullptr}; }
inline VLJsonInput::Shape VLJsonInput::Shape::object(std::vector<ShapeMember> members) {
  return Shape{Kind::Object, false, false, std::move(members), nullptr};
}
inline VLJsonInput::Shape VLJsonInput::Shape::arrayOf(Shape element) {
  return Shape{Kind::Array, false, false, {}, std::make_shared<Shape>(std::move(element))};
}
inline VLJsonInput::Shape VLJsonInput::Shape::orNull() const {
  Shape copy = *this;
  copy.nullable = true;
  return copy;
}
inline VLJsonInput::Shape VLJsonInput::Shape::needed() const {
  Shape copy = *this;
  copy.required = true;
  return copy;
}
