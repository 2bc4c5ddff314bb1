#include "Vaultline/VLIndexPath.h"

std::string VLIndexPath::description() const {
  std::string out = "[";
  for (size_t i = 0; i < indexes_.size(); ++i) out += (i ? "." : "") + std::to_string(indexes_[i]);
  return out + "]";
}
