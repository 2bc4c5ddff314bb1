#include "Vaultline/VLTag.h"

std::shared_ptr<const VLTag> VLTag::make(std::string label, int64_t color) {
  return std::shared_ptr<const VLTag>(new VLTag(std::move(label), color));
}

std::string VLTag::description() const { return label_ + "#" + std::to_string(color_); }

bool VLTag::isEqual(const VLObject& other) const {
  auto tag = dynamic_cast<const VLTag*>(&other);
  return tag && tag->label_ == label_ && tag->color_ == color_;
}
