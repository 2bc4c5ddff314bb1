// How cases are named for people and for the unit-test runner, their categories, and where
// their documentation comes from.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Validations/Implementation/VLRichTextReader.h"
#include "Validations/Validations.h"
#include "support/CaseTestLogCapture.h"

// Named, not anonymous: unity builds compile several test files as one.
namespace case_naming_tests {

using Validator = std::shared_ptr<VLValidator>;

class VLTrashValidation : public VLValidationCase {
 public:
  void validateAny(const Validator&, const VLValue&) {}
  VLValue variantAny(const Validator&) { return VLValue(); }
  std::string describeTrashUntrash() { return "Trashes an item and puts it back."; }
};

class VLPlaceholderValidation : public VLValidationCase {
 public:
  void validateAny(const Validator&) {}
};
class VLContainerValidation : public VLPlaceholderValidation {};
class VLAttributeValidation : public VLPlaceholderValidation {};
class VLFileTypeValidation : public VLPlaceholderValidation {};

template <class Suite>
std::shared_ptr<VLValidationCase> plainCase(const std::string& selector) {
  auto suiteClass = VLValidationCase::describeSuiteClass<Suite>({{selector, &Suite::validateAny}});
  return VLValidationCase::makeWithSuiteClass(suiteClass, selector, nullptr, std::nullopt);
}

std::shared_ptr<VLValidationCase> trashCase(const std::string& selector, const std::string& variant) {
  auto suiteClass = VLValidationCase::describeSuiteClass<VLTrashValidation>({
      {selector, &VLTrashValidation::validateAny},
      {variant, &VLTrashValidation::variantAny},
      {"describeTrashUntrash", &VLTrashValidation::describeTrashUntrash},
  });
  return VLValidationCase::makeWithSuiteClass(suiteClass, selector, nullptr, variant);
}

TEST(CaseNames, FollowTheSelectorAndVariant) {
  auto withVariant = trashCase("validateTrashUntrash:variant:", "variantTrashingFolder:");
  EXPECT_EQ(withVariant->selectorDescription(), "TrashUntrash: (TrashingFolder)");
  EXPECT_EQ(withVariant->description(), "- [VLTrashValidation TrashUntrash: (TrashingFolder)]");
  EXPECT_EQ(withVariant->nameForMarlin(), "VLTrashValidation_validateTrashUntrash:variantTrashingFolder:");
  EXPECT_EQ(withVariant->displayTitle(), "Trash Untrash (TrashingFolder)");

  auto plain = plainCase<VLPlaceholderValidation>("validatePlaceholderIsWritten:");
  EXPECT_EQ(plain->selectorDescription(), "PlaceholderIsWritten:");
  EXPECT_EQ(plain->description(), "- [VLPlaceholderValidation PlaceholderIsWritten:]");
  EXPECT_EQ(plain->nameForMarlin(), "VLPlaceholderValidation_validatePlaceholderIsWritten:");
  EXPECT_EQ(plain->displayTitle(), "Placeholder Is Written");
  EXPECT_EQ(VLValidationCase::prettyNameFromVariantSelector("variantTrashingFolder:"), "TrashingFolder");
}

TEST(CaseNames, DisplayTitleSplitsEveryCapitalButNotDigits) {
  EXPECT_EQ(plainCase<VLFileTypeValidation>("validateFileTypeIsReturnedCorrectly:")->displayTitle(),
            "File Type Is Returned Correctly");
  EXPECT_EQ(plainCase<VLFileTypeValidation>("validateJPEGThumbnail2x:")->displayTitle(), "J P E G Thumbnail2x");
  EXPECT_EQ(plainCase<VLFileTypeValidation>("validateCafé:")->displayTitle(), "Café");
  // Capitals outside ASCII start words too; a malformed byte is copied as it is.
  EXPECT_EQ(plainCase<VLFileTypeValidation>("validateCaféÉclairΑλφαΒήτα:")->displayTitle(), "Café Éclair Αλφα Βήτα");
  EXPECT_EQ(plainCase<VLFileTypeValidation>("validateBad\xC3"
                                            "Byte:")
                ->displayTitle(),
            "Bad\xC3"
            " Byte");
  // The variant's pretty name is not split.
  EXPECT_EQ(trashCase("validateTrashUntrash:variant:", "variantTrashingBigFolder:")->displayTitle(),
            "Trash Untrash (TrashingBigFolder)");
}

TEST(CaseCategories, ComeFromTheFirstTableKeyInTheDescription) {
  EXPECT_EQ(trashCase("validateTrashUntrash:variant:", "variantTrashingFolder:")->category(), "2");
  EXPECT_EQ(trashCase("validateTrashUntrash:variant:", "variantTrashingFile:")->category(), "2");
  EXPECT_EQ(plainCase<VLPlaceholderValidation>("validatePlaceholderIsWritten:")->category(), "1");
  EXPECT_EQ(plainCase<VLContainerValidation>("validateSecondItemIsBouncedWithCaseMismatch:")->category(), "1");
  EXPECT_EQ(plainCase<VLAttributeValidation>("validateTags:")->category(), "2");
  // The ":" keeps a key from matching a longer name, and the class must match too.
  EXPECT_EQ(plainCase<VLAttributeValidation>("validateTagsAgain:")->category(), "<uncategorized>");
  EXPECT_EQ(plainCase<VLContainerValidation>("validateTags:")->category(), "<uncategorized>");
}

// ---- Documentation ----------------------------------------------------------------------

class CaseDocumentation : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() / ("CaseDocumentation-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder_);
    VLValidationCase::setDocumentationDirectory(folder_.string());
  }
  void TearDown() override {
    VLValidationCase::setDocumentationDirectory(std::nullopt);
    std::filesystem::remove_all(folder_);
  }
  void write(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  std::filesystem::path folder_;
};

TEST_F(CaseDocumentation, ComesFromTheDescribeHookThenRichTextFilesThenBundles) {
  write(folder_ / "VLTrashValidation-TrashUntrash.rtf", "{\\rtf1 From the file.}");
  EXPECT_EQ(trashCase("validateTrashUntrash:variant:", "variantTrashingFolder:")->documentationText(),
            "Trashes an item and puts it back.");

  auto placeholder = plainCase<VLPlaceholderValidation>("validatePlaceholderIsWritten:");
  write(folder_ / "VLPlaceholderValidation-PlaceholderIsWritten.rtfd" / "TXT.rtf", "{\\rtf1 From the bundle.}");
  EXPECT_EQ(placeholder->documentationText(), "From the bundle.");
  write(folder_ / "VLPlaceholderValidation-PlaceholderIsWritten.rtf",
        "{\\rtf1\\ansi {\\fonttbl\\f0 Helvetica;}\\f0 Plain.}");
  EXPECT_EQ(placeholder->documentationText(), "Plain.");

  // Missing documentation logs one error and gives none.
  CaseTestLogCapture log;
  EXPECT_EQ(plainCase<VLContainerValidation>("validateItemCount:")->documentationText(), std::nullopt);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"[ERROR] Documentation for ItemCount: not found."});
}

TEST(CaseShippedDocumentation, EveryCategorisedValidationHasADocument) {
  // Without an override the source tree's Documentation folder is found.
  for (const auto& [key, category] : VLValidationCase::casesByCategories()) {
    auto space = key.find(' ');
    std::string className = key.substr(0, space);
    std::string selector = "validate" + key.substr(space + 1);
    std::shared_ptr<VLValidationCase> validationCase;
    if (className == "VLContainerValidation") validationCase = plainCase<VLContainerValidation>(selector);
    if (className == "VLAttributeValidation") validationCase = plainCase<VLAttributeValidation>(selector);
    if (className == "VLFileTypeValidation") validationCase = plainCase<VLFileTypeValidation>(selector);
    if (className == "VLPlaceholderValidation") validationCase = plainCase<VLPlaceholderValidation>(selector);
    if (className == "VLTrashValidation") validationCase = plainCase<VLTrashValidation>(selector);
    ASSERT_TRUE(validationCase) << key;
    auto text = validationCase->documentationText();
    ASSERT_TRUE(text) << key;
    EXPECT_GT(text->size(), 200u) << key;
    EXPECT_EQ(text->find('\\'), std::string::npos) << key;
  }
}

TEST(CaseRichText, KeepsTheVisibleTextOnly) {
  EXPECT_EQ(VLRichTextReader::plainText("plain"), std::nullopt);
  EXPECT_EQ(VLRichTextReader::plainText(
                "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl\\f0\\fswiss Helvetica;}{\\colortbl;\\red255\\green0\\blue0;}"
                "{\\*\\expandedcolortbl;;}{\\info{\\title T}}\\f0\\b Title\\b0\\par\n"
                "Tab\\tab here\\line caf\\'e9 \\u8212? na\\u239\\'efve \\{braces\\} \\\\ end\\par\n}"),
            "Title\nTab\there\ncafé — naïve {braces} \\ end");
  EXPECT_EQ(VLRichTextReader::plainText("{\\rtf1 \\uc0\\u10004 done \\emdash\\~ok}"), "✔done —\u00A0ok");
}

}  // namespace case_naming_tests
