// VLPersonNameComponents: a person's name as parts (owner or last editor of an item). Immutable.
#pragma once

#include <memory>
#include <string>

#include "Core/VLObject.h"

class VLPersonNameComponents : public VLObject {
 public:
  static std::shared_ptr<const VLPersonNameComponents> make(std::string givenName, std::string familyName);

  const std::string& givenName() const { return givenName_; }
  const std::string& familyName() const { return familyName_; }

  // Returns "Given Family" (either part may be empty).
  std::string description() const override;
  bool isEqual(const VLObject& other) const override;

 private:
  VLPersonNameComponents(std::string given, std::string family)
      : givenName_(std::move(given)), familyName_(std::move(family)) {}
  std::string givenName_;
  std::string familyName_;
};
