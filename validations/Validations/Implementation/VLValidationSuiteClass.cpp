#include "Validations/VLValidationSuiteClass.h"

#include <set>

#include "Core/VLException.h"

VLValidationSuiteClassRef VLValidationSuiteClass::make(std::string name, std::type_index type, bool isSuiteClass,
                                                       Factory factory, std::vector<VLValidationOperation> operations) {
  if (name.empty()) throw VLException("VLValidationSuiteClass: a suite class needs a name");
  if (!factory) throw VLException("VLValidationSuiteClass: suite class " + name + " has no factory");
  std::set<std::string> seen;
  for (const auto& operation : operations) {
    if (operation.selector().empty()) {
      throw VLException("VLValidationSuiteClass: suite class " + name + " lists an operation without a selector");
    }
    if (!seen.insert(operation.selector()).second) {
      throw VLException("VLValidationSuiteClass: suite class " + name + " lists " + operation.selector() + " twice");
    }
  }
  return VLValidationSuiteClassRef(
      new VLValidationSuiteClass(std::move(name), type, isSuiteClass, std::move(factory), std::move(operations)));
}

const VLValidationOperation* VLValidationSuiteClass::operationNamed(const std::string& selector) const {
  for (const auto& operation : operations_) {
    if (operation.selector() == selector) return &operation;
  }
  return nullptr;
}

std::vector<std::string> VLValidationSuiteClass::variantSelectors() const {
  std::vector<std::string> variants;
  for (const auto& operation : operations_) {
    // Neither the result nor a trailing ":" matters: a variant returning nothing still counts.
    if (operation.selector().starts_with("variant") && operation.argumentCount() <= 1) {
      variants.push_back(operation.selector());
    }
  }
  return variants;
}
