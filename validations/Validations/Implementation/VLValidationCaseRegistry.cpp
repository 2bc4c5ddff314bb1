// The registry of suite classes and case discovery.
#include <algorithm>

#include "Core/VLException.h"
#include "Core/VLLog.h"
#include "Dispatch/VLDispatchQueue.h"
#include "Dispatch/VLOnce.h"
#include "Validations/VLValidationCase.h"

namespace {

struct Registry {
  const std::shared_ptr<VLDispatchQueue> queue = VLDispatchQueue::make("validation-registry");
  // Owned by queue.
  std::vector<VLValidationSuiteClassRef> classes;
  bool sealed = false;  // the template table has been built; later registrations would be lost
};

Registry& registry() {
  // Never destroyed, so that registrations and look-ups stay valid during static destruction.
  static Registry* shared = new Registry;
  return *shared;
}

}  // namespace

std::type_index VLValidationCase::__vl__validation__class() { return std::type_index(typeid(VLValidationCase)); }

void VLValidationCase::registerSuiteClass(VLValidationSuiteClassRef suiteClass) {
  if (!suiteClass) throw VLException("VLValidationCase::registerSuiteClass: no suite class given");
  auto& shared = registry();
  shared.queue->sync([&] {
    if (shared.sealed) {
      throw VLException("VLValidationCase::registerSuiteClass: " + suiteClass->name() +
                        " registered after allValidations() was first called; register every suite at start-up");
    }
    for (const auto& known : shared.classes) {
      if (known->type() == suiteClass->type() || known->name() == suiteClass->name()) {
        throw VLException("VLValidationCase::registerSuiteClass: " + suiteClass->name() + " is already registered");
      }
    }
    shared.classes.push_back(suiteClass);
  });
}

std::vector<VLValidationSuiteClassRef> VLValidationCase::registeredSuiteClasses() {
  auto& shared = registry();
  std::vector<VLValidationSuiteClassRef> classes;
  shared.queue->sync([&] { classes = shared.classes; });
  return classes;
}

VLValidationSuiteClassRef VLValidationCase::suiteClassForType(std::type_index type) {
  for (const auto& suiteClass : registeredSuiteClasses()) {
    if (suiteClass->type() == type) return suiteClass;
  }
  return nullptr;
}

const VLValidationCase::ValidationTable& VLValidationCase::allValidations() {
  static VLOnce once;
  static ValidationTable* templates = nullptr;
  once.perform([] {
    auto& shared = registry();
    shared.queue->sync([&] { shared.sealed = true; });
    templates = new ValidationTable(_allValidations());
  });
  return *templates;
}

VLValidationCase::ValidationTable VLValidationCase::allValidationsForProvider(
    const std::shared_ptr<VLProvider>& provider) {
  ValidationTable cases;
  for (const auto& [className, templates] : allValidations()) {
    CaseList& list = cases[className];
    for (const auto& prototype : templates) {
      list.push_back(
          makeWithSuiteClass(prototype->suiteClass(), prototype->selector(), provider, prototype->variantSelector()));
    }
  }
  return cases;
}

VLValidationCase::ValidationTable VLValidationCase::_allValidations() {
  return validationsOfSuiteClasses(registeredSuiteClasses());
}

VLValidationCase::ValidationTable VLValidationCase::validationsOfSuiteClasses(
    const std::vector<VLValidationSuiteClassRef>& classes) {
  ValidationTable table;
  for (const auto& suiteClass : classes) {
    if (!suiteClass || !suiteClass->isSuiteClass()) continue;
    CaseList cases;
    for (const auto& operation : suiteClass->operations()) {
      const std::string& selector = operation.selector();
      if (!selector.starts_with("validate")) continue;
      if (operation.argumentCount() > 2 || operation.returnsValue()) continue;
      // A validation without any argument has no first argument to inspect: the suite is broken.
      VL_ASSERT(operation.argumentCount() > 0,
                "Selector %@ on class %@ takes no argument, but a validation takes the validator.", selector,
                suiteClass->name());
      if (!operation.firstArgumentIsObject()) continue;
      if (operation.argumentCount() == 1) {
        cases.push_back(makeWithSuiteClass(suiteClass, selector, nullptr, std::nullopt));
        continue;
      }
      if (!selector.ends_with(":variant:")) continue;
      auto variants = suiteClass->variantSelectors();
      VL_ASSERT(!variants.empty(),
                "Selector %@ on class %@ expects variants, but the class doesn't define variant selectors.", selector,
                suiteClass->name());
      VL_ASSERT(operation.secondArgumentTakesVariantValue(),
                "Selector %@ on class %@ expects variants, but its second argument can't take a variant value "
                "(take a VLValue).",
                selector, suiteClass->name());
      for (const auto& variant : variants) {
        cases.push_back(makeWithSuiteClass(suiteClass, selector, nullptr, variant));
      }
    }
    if (!cases.empty()) table[suiteClass->name()] = std::move(cases);
  }
  return table;
}

std::shared_ptr<VLValidationCase> VLValidationCase::makeWithSuiteClass(const VLValidationSuiteClassRef& suiteClass,
                                                                       const std::string& selector,
                                                                       std::shared_ptr<VLProvider> provider,
                                                                       std::optional<std::string> variantSelector) {
  if (!suiteClass) throw VLException("VLValidationCase: no suite class given for " + selector);
  if (!suiteClass->operationNamed(selector)) {
    throw VLException("VLValidationCase: " + suiteClass->name() + " does not list the operation " + selector);
  }
  if (variantSelector && !suiteClass->operationNamed(*variantSelector)) {
    throw VLException("VLValidationCase: " + suiteClass->name() + " does not list the variant " + *variantSelector);
  }
  auto instance = suiteClass->makeInstance();
  if (!instance) throw VLException("VLValidationCase: the factory of " + suiteClass->name() + " made nothing");
  instance->suiteClass_ = suiteClass;
  instance->selector_ = selector;
  instance->provider_ = std::move(provider);
  instance->variantSelector_ = std::move(variantSelector);
  return instance;
}

const VLValidationOperation& VLValidationCase::requireOperation(const std::string& selector) const {
  const VLValidationOperation* operation = suiteClass_ ? suiteClass_->operationNamed(selector) : nullptr;
  if (!operation) throw VLException("VLValidationCase: " + className() + " has no operation " + selector);
  return *operation;
}
