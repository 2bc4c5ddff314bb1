// expected error: a listed operation must return void \(a validation\) or a value that converts to VLValue
//
// The same rule holds for validations: a result nothing can read is a mistake, not a skip.
#include "Validations/Validations.h"

namespace {
struct Outcome {};

class Suite : public VLValidationCase {
 public:
  Outcome validateSomething(const std::shared_ptr<VLValidator>&) { return {}; }
};

const VLValidationOperation validation("validateSomething:", &Suite::validateSomething);
}  // namespace
