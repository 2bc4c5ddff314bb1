#include "Vaultline/VLProgress.h"

#include <algorithm>

#include "Core/VLFormat.h"

std::shared_ptr<const VLProgress> VLProgress::make(double fractionCompleted, bool indeterminate) {
  return std::shared_ptr<const VLProgress>(new VLProgress(std::clamp(fractionCompleted, 0.0, 1.0), indeterminate));
}

std::string VLProgress::description() const {
  return indeterminate_ ? "<VLProgress indeterminate>" : VLFormat("<VLProgress %.01f%%>", fraction_ * 100.0);
}

bool VLProgress::isEqual(const VLObject& other) const {
  auto progress = dynamic_cast<const VLProgress*>(&other);
  return progress && progress->fraction_ == fraction_ && progress->indeterminate_ == indeterminate_;
}
