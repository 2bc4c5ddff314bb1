#include "Vaultline/VLPersonNameComponents.h"

std::shared_ptr<const VLPersonNameComponents> VLPersonNameComponents::make(std::string givenName,
                                                                           std::string familyName) {
  return std::shared_ptr<const VLPersonNameComponents>(
      new VLPersonNameComponents(std::move(givenName), std::move(familyName)));
}

std::string VLPersonNameComponents::description() const {
  if (givenName_.empty() || familyName_.empty()) return givenName_ + familyName_;
  return givenName_ + " " + familyName_;
}

bool VLPersonNameComponents::isEqual(const VLObject& other) const {
  auto name = dynamic_cast<const VLPersonNameComponents*>(&other);
  return name && name->givenName_ == givenName_ && name->familyName_ == familyName_;
}
