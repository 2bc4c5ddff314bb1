// VLValidationSuiteClass: the record of one registered suite class: its name, how to make an
// instance, whether it is a suite class for discovery, and the operations it lists.
//
// Records are made by VLValidationCase::registerSuiteClass<Suite>() and live in the
// process-wide registry until the process ends. A record is immutable once made, so it may
// be read from any thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <typeindex>
#include <vector>

#include "Validations/VLValidationOperation.h"

class VLValidationCase;

class VLValidationSuiteClass {
 public:
  using Factory = std::function<std::shared_ptr<VLValidationCase>()>;

  // Makes a record. `isSuiteClass` is false for a class that redefines the registry's marker
  // (such a class is registered but contributes no case). Throws VLException when the name
  // is empty, the factory is missing, or a selector is listed twice.
  static std::shared_ptr<const VLValidationSuiteClass> make(std::string name, std::type_index type, bool isSuiteClass,
                                                            Factory factory,
                                                            std::vector<VLValidationOperation> operations);

  // Returns the class name used in case names and documentation file names.
  const std::string& name() const { return name_; }
  // Returns the C++ type of the suite class.
  std::type_index type() const { return type_; }
  // Returns whether discovery treats this class as a suite class.
  bool isSuiteClass() const { return isSuiteClass_; }
  // Returns the class's own operations, in listing order.
  const std::vector<VLValidationOperation>& operations() const { return operations_; }
  // Returns the operation listed under `selector`, or nullptr.
  const VLValidationOperation* operationNamed(const std::string& selector) const;

  // Returns the names of the class's own variant operations in listing order: those whose
  // names begin with "variant" and that take at most one argument.
  std::vector<std::string> variantSelectors() const;

  // Returns a new, unconfigured instance of the class.
  std::shared_ptr<VLValidationCase> makeInstance() const { return factory_(); }

 private:
  VLValidationSuiteClass(std::string name, std::type_index type, bool isSuiteClass, Factory factory,
                         std::vector<VLValidationOperation> operations)
      : name_(std::move(name)),
        type_(type),
        isSuiteClass_(isSuiteClass),
        factory_(std::move(factory)),
        operations_(std::move(operations)) {}

  const std::string name_;
  const std::type_index type_;
  const bool isSuiteClass_;
  const Factory factory_;
  const std::vector<VLValidationOperation> operations_;
};

using VLValidationSuiteClassRef = std::shared_ptr<const VLValidationSuiteClass>;
