// expected error: a listed operation must return void \(a validation\) or a value that converts to VLValue
//
// A variant whose result cannot carry a value would read as none and skip its case.
#include "Validations/Validations.h"

namespace {
struct Folder {};  // not a VLValue, not a VLObject

class Suite : public VLValidationCase {
 public:
  Folder variantFolder(const std::shared_ptr<VLValidator>&) { return {}; }
};

const VLValidationOperation variant("variantFolder:", &Suite::variantFolder);
}  // namespace
