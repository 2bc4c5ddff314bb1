// VLProgress: a snapshot of a transfer's progress. Immutable.
#pragma once

#include <memory>
#include <string>

#include "Core/VLObject.h"

class VLProgress : public VLObject {
 public:
  // Makes a progress record; `fractionCompleted` is clamped to 0..1.
  static std::shared_ptr<const VLProgress> make(double fractionCompleted, bool indeterminate = false);

  double fractionCompleted() const { return fraction_; }
  bool isIndeterminate() const { return indeterminate_; }

  // Returns "<VLProgress 42.5%>" or "<VLProgress indeterminate>".
  std::string description() const override;
  bool isEqual(const VLObject& other) const override;

 private:
  VLProgress(double fraction, bool indeterminate) : fraction_(fraction), indeterminate_(indeterminate) {}
  double fraction_;
  bool indeterminate_;
};
