#include "Validations/VLValidationOperation.h"

VLValue VLValidationOperation::invoke(VLValidationCase& receiver, const std::shared_ptr<VLValidator>& validator,
                                      const VLValue& variantValue) const {
  if (!invoker_) {
    throw VLException("operation " + selector_ +
                      " can't be called by the harness: it must take no argument, the validator, or the validator "
                      "and a variant value");
  }
  return invoker_(receiver, validator, variantValue);
}
