// Discovery of cases from the operations that suite classes list, and the process-wide
// registry built from them.
#include <gtest/gtest.h>

#include <thread>

#include "Validations/Validations.h"

// Named, not anonymous: unity builds compile several test files as one.
namespace case_registry_tests {

using Validator = std::shared_ptr<VLValidator>;

class VLTrashValidation : public VLValidationCase {
 public:
  void validateTrashUntrash(const Validator&, const VLValue&) {}
  VLValue variantTrashingFolder(const Validator&) { return "folder"; }
  VLValue variantTrashingFile() { return "file"; }
  void variantReturningNothing(const Validator&) {}
  VLValue variantWithTwoArguments(const Validator&, int) { return 1; }
  void validateSecondItemIsBounced(const Validator&, bool, const VLValue&) {}
  bool validateReturningSomething(const Validator&) { return true; }
  void validateTakingANumber(int) {}
  void validatePair(const Validator&, const VLValue&) {}
  void validatePlain(const Validator&) {}
  void helperNotAValidation(const Validator&) {}
};

std::vector<VLValidationOperation> trashOperations() {
  return {
      {"validateTrashUntrash:variant:", &VLTrashValidation::validateTrashUntrash},
      {"variantTrashingFolder:", &VLTrashValidation::variantTrashingFolder},
      {"variantTrashingFile", &VLTrashValidation::variantTrashingFile},
      {"variantReturningNothing:", &VLTrashValidation::variantReturningNothing},
      {"variantWithTwoArguments:value:", &VLTrashValidation::variantWithTwoArguments},
      {"validateSecondItemIsBounced:changeCase:variant:", &VLTrashValidation::validateSecondItemIsBounced},
      {"validateReturningSomething:", &VLTrashValidation::validateReturningSomething},
      {"validateTakingANumber:", &VLTrashValidation::validateTakingANumber},
      {"validatePair:other:", &VLTrashValidation::validatePair},
      {"validatePlain:", &VLTrashValidation::validatePlain},
      {"helperNotAValidation:", &VLTrashValidation::helperNotAValidation},
  };
}

class ThreeArgumentSuite : public VLValidationCase {
 public:
  void validateA(const Validator&, bool, int) {}
};

class MarkerRedefiningSuite : public VLTrashValidation {
 public:
  static std::type_index __vl__validation__class() { return std::type_index(typeid(MarkerRedefiningSuite)); }
};

class VariantlessSuite : public VLValidationCase {
 public:
  void validateSomething(const Validator&, const VLValue&) {}
};

class ArgumentlessSuite : public VLValidationCase {
 public:
  void validateWithoutArguments() {}
};

std::vector<std::string> names(const VLValidationCase::CaseList& cases) {
  std::vector<std::string> result;
  for (const auto& validationCase : cases) result.push_back(validationCase->nameForMarlin());
  return result;
}

// Of the operations a class lists, only the well-formed validate operations make cases, each
// times the class's own variants; a class with none, or one that redefines the suite marker,
// gets no entry.
TEST(CaseDiscovery, AppliesTheNamingAndSignatureRules) {
  auto trash = VLValidationCase::describeSuiteClass<VLTrashValidation>(trashOperations());
  EXPECT_EQ(trash->variantSelectors(),
            (std::vector<std::string>{"variantTrashingFolder:", "variantTrashingFile", "variantReturningNothing:"}));
  // A derived class lists only its own operations, so it inherits no variants.
  EXPECT_TRUE(VLValidationCase::describeSuiteClass<VariantlessSuite>({})->variantSelectors().empty());

  auto table = VLValidationCase::validationsOfSuiteClasses({
      VLValidationCase::describeSuiteClass<ThreeArgumentSuite>({{"validateA:b:c:", &ThreeArgumentSuite::validateA}}),
      VLValidationCase::describeSuiteClass<MarkerRedefiningSuite>(trashOperations()),
      trash,
  });
  ASSERT_EQ(table.size(), 1u);
  EXPECT_EQ(names(table.at("VLTrashValidation")), (std::vector<std::string>{
                                                      "VLTrashValidation_validateTrashUntrash:variantTrashingFolder:",
                                                      "VLTrashValidation_validateTrashUntrash:variantTrashingFile",
                                                      "VLTrashValidation_validateTrashUntrash:variantReturningNothing:",
                                                      "VLTrashValidation_validatePlain:",
                                                  }));
  EXPECT_FALSE(VLValidationCase::describeSuiteClass<MarkerRedefiningSuite>({})->isSuiteClass());
  EXPECT_TRUE(VLValidationCase::describeSuiteClass<ThreeArgumentSuite>({})->isSuiteClass());
}

// The test program silences the log; a dying child must show its last words.
void discoverWithLogOnStandardError(const VLValidationSuiteClassRef& suiteClass) {
  VLLog::setSink({});
  VLValidationCase::validationsOfSuiteClasses({suiteClass});
}

TEST(CaseDiscoveryDeathTest, MalformedValidationsStopTheProcess) {
  auto variantless = VLValidationCase::describeSuiteClass<VariantlessSuite>(
      {{"validateSomething:variant:", &VariantlessSuite::validateSomething}});
  EXPECT_DEATH(discoverWithLogOnStandardError(variantless),
               "\\[CRIT\\] \\[ASSERT\\] ‼️ Selector validateSomething:variant: on class VariantlessSuite expects "
               "variants, but the class doesn't define variant selectors\\.");
  auto argumentless = VLValidationCase::describeSuiteClass<ArgumentlessSuite>(
      {{"validateWithoutArguments", &ArgumentlessSuite::validateWithoutArguments}});
  EXPECT_DEATH(discoverWithLogOnStandardError(argumentless),
               "\\[CRIT\\] .*validateWithoutArguments on class ArgumentlessSuite");
}

// ---- The process-wide registry ------------------------------------------------------------

class CaseRegistryTrashSuite : public VLTrashValidation {};
class CaseRegistryPlainSuite : public VLValidationCase {
 public:
  void validateOne(const Validator&) {}
};

// Registered at start-up, as a runner registers its suites.
const bool kRegistered = [] {
  VLValidationCase::registerSuiteClass<CaseRegistryTrashSuite>(trashOperations());
  VLValidationCase::registerSuiteClass<CaseRegistryPlainSuite>(
      {{"validateOne:", &CaseRegistryPlainSuite::validateOne}});
  return true;
}();

TEST(CaseRegistry, AllValidationsIsBuiltOnceEvenWhenFirstAskedConcurrently) {
  ASSERT_TRUE(kRegistered);
  std::vector<const VLValidationCase::ValidationTable*> seen(4);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] { seen[i] = &VLValidationCase::allValidations(); });
  }
  for (auto& thread : threads) thread.join();
  for (auto* table : seen) EXPECT_EQ(table, seen[0]);
  EXPECT_EQ(seen[0]->at("CaseRegistryTrashSuite").size(), 4u);
  EXPECT_EQ(seen[0]->at("CaseRegistryPlainSuite").size(), 1u);
  // Too late now: the templates are built.
  EXPECT_THROW(VLValidationCase::registerSuiteClass<ThreeArgumentSuite>({}), VLException);
}

TEST(CaseRegistry, EachProviderListingMakesNewCasesOverTheSameTemplates) {
  auto provider = VLProvider::make("p", "com.example.p", std::nullopt, "p-id");
  auto first = VLValidationCase::allValidationsForProvider(provider);
  auto second = VLValidationCase::allValidationsForProvider(provider);
  const auto& templates = VLValidationCase::allValidations().at("CaseRegistryTrashSuite");
  const auto& made = first.at("CaseRegistryTrashSuite");
  ASSERT_EQ(made.size(), templates.size());
  for (size_t i = 0; i < made.size(); ++i) {
    EXPECT_NE(made[i], second.at("CaseRegistryTrashSuite")[i]);
    EXPECT_EQ(made[i]->provider(), provider);
    EXPECT_EQ(made[i]->nameForMarlin(), templates[i]->nameForMarlin());
  }
}

TEST(CaseRegistry, MakeChecksTheClassAndItsOperations) {
  // The pretty name always loses the last character, expecting a ":" there.
  auto made =
      VLValidationCase::make<CaseRegistryTrashSuite>("validateTrashUntrash:variant:", nullptr, "variantTrashingFile");
  EXPECT_EQ(made->description(), "- [CaseRegistryTrashSuite TrashUntrash: (TrashingFil)]");
  EXPECT_THROW(VLValidationCase::make<CaseRegistryTrashSuite>("validateMissing:", nullptr), VLException);
  EXPECT_THROW(
      VLValidationCase::make<CaseRegistryTrashSuite>("validateTrashUntrash:variant:", nullptr, "variantMissing:"),
      VLException);
  EXPECT_THROW(VLValidationCase::make<ThreeArgumentSuite>("validateA:b:c:", nullptr), VLException);
}

}  // namespace case_registry_tests
