// VLTag: a user tag: a label and a small colour index. Immutable.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Core/VLObject.h"

class VLTag : public VLObject {
 public:
  static std::shared_ptr<const VLTag> make(std::string label, int64_t color);

  const std::string& label() const { return label_; }
  int64_t color() const { return color_; }

  // Returns "<label>#<color>".
  std::string description() const override;
  // Equal when label and colour are equal.
  bool isEqual(const VLObject& other) const override;

 private:
  VLTag(std::string label, int64_t color) : label_(std::move(label)), color_(color) {}
  std::string label_;
  int64_t color_;
};
