#include "vlvalidate/VLCaseID.h"

std::string vl_caseSuiteName(const VLValidationCase& validationCase) {
  return validationCase.suiteClass() ? validationCase.suiteClass()->name() : validationCase.className();
}

std::string vl_caseBaseName(const VLValidationCase& validationCase) {
  const std::string& selector = validationCase.selector();
  std::string name = selector.rfind("validate", 0) == 0 ? selector.substr(8) : selector;
  return name.substr(0, name.find(':'));
}

std::string vl_caseVariantName(const VLValidationCase& validationCase) {
  const auto& variant = validationCase.variantSelector();
  return variant ? VLValidationCase::prettyNameFromVariantSelector(*variant) : "";
}

std::string vl_caseShortID(const VLValidationCase& validationCase) {
  std::string id = vl_caseSuiteName(validationCase) + "." + vl_caseBaseName(validationCase);
  std::string variant = vl_caseVariantName(validationCase);
  return variant.empty() ? id : id + "/" + variant;
}
