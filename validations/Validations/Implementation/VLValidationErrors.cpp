#include "Validations/VLValidationErrors.h"

#include "Core/VLFormat.h"

const std::string& KsVaultlineValidationErrorDomain = *new std::string("com.kestrel.Vaultline.Validation");

std::string vl_prettyDescription(const VLErrorRef& error) {
  if (!error) return "(null)";
  std::string own = error->localizedDescription();
  VLErrorRef underlying = error->underlyingError();
  if (!underlying) return own;
  std::string nested = vl_prettyDescription(underlying);
  return own != nested ? VLFormat("%@ ↩ %@", own, nested) : own;
}
