// The names of a case and its category.
#include "Validations/VLValidationCase.h"

#include "Core/VLFormat.h"

namespace {

constexpr std::string_view kValidatePrefix = "validate";
constexpr std::string_view kVariantSuffix = "variant:";

// Returns `text` without its first `count` bytes ("" when shorter).
std::string dropFirst(const std::string& text, size_t count) { return text.size() > count ? text.substr(count) : ""; }
// Returns `text` without its last `count` bytes ("" when shorter).
std::string dropLast(const std::string& text, size_t count) {
  return text.size() > count ? text.substr(0, text.size() - count) : "";
}
bool endsWith(const std::string& text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// Splits UTF-8 text into characters, keeping continuation bytes with their lead byte.
std::vector<std::string> characters(const std::string& text) {
  std::vector<std::string> result;
  for (unsigned char byte : text) {
    if ((byte & 0xC0) == 0x80 && !result.empty()) {
      result.back().push_back(static_cast<char>(byte));
    } else {
      result.emplace_back(1, static_cast<char>(byte));
    }
  }
  return result;
}

}  // namespace

std::string VLValidationCase::prettyNameFromVariantSelector(const std::string& variantSelector) {
  return dropLast(dropFirst(variantSelector, 7), 1);
}

std::string VLValidationCase::selectorDescription() const {
  std::string name = dropFirst(selector_, kValidatePrefix.size());
  if (!variantSelector_) return name;
  return VLFormat("%@ (%@)", dropLast(name, kVariantSuffix.size()), prettyNameFromVariantSelector(*variantSelector_));
}

std::string VLValidationCase::description() const {
  return VLFormat("- [%@ %@]", suiteClass_ ? suiteClass_->name() : className(), selectorDescription());
}

std::string VLValidationCase::nameForMarlin() const {
  std::string name = suiteClass_ ? suiteClass_->name() : className();
  if (!variantSelector_) return VLFormat("%@_%@", name, selector_);
  return VLFormat("%@_%@%@", name, dropLast(selector_, kVariantSuffix.size()), *variantSelector_);
}

std::string VLValidationCase::displayTitle() const {
  std::string name = dropFirst(selector_, kValidatePrefix.size());
  if (endsWith(name, kVariantSuffix)) name = dropLast(name, kVariantSuffix.size());
  if (endsWith(name, ":")) name = dropLast(name, 1);

  // Every capital but the first starts a word; runs of capitals are split letter by letter
  // and digits never are. Characters outside ASCII are copied as they are.
  std::string title;
  bool first = true;
  for (const auto& character : characters(name)) {
    bool capital = character.size() == 1 && character[0] >= 'A' && character[0] <= 'Z';
    if (capital && !first) title += ' ';
    title += character;
    first = false;
  }
  if (!variantSelector_) return title;
  return VLFormat("%@ (%@)", title, prettyNameFromVariantSelector(*variantSelector_));
}

std::map<std::string, std::string> VLValidationCase::casesByCategories() {
  return {
      {"VLContainerValidation Hierarchy:", "1"},
      {"VLContainerValidation FolderCreation:", "1"},
      {"VLAttributeValidation Reparent:", "1"},
      {"VLContainerValidation SecondItemIsBounced:", "1"},
      {"VLAttributeValidation LastUsedDate:", "2"},
      {"VLContainerValidation ItemCount:", "2"},
      {"VLFileTypeValidation FileTypeIsReturnedCorrectly:", "2"},
      {"VLContainerValidation ImportAddsToContainer:", "1"},
      {"VLContainerValidation LookupIdentity:", "1"},
      {"VLFileTypeValidation ThumbnailsRepresentItem:", "2"},
      {"VLContainerValidation SubitemsAreGoneAfterDeletingFolder:", "1"},
      {"VLContainerValidation SecondItemIsBouncedWithCaseMismatch:", "1"},
      {"VLContainerValidation RenamingPreservesItemIdentifier:", "1"},
      {"VLAttributeValidation Rename:", "1"},
      {"VLPlaceholderValidation PlaceholderIsWritten:", "1"},
      {"VLTrashValidation TrashUntrash:", "2"},
      {"VLAttributeValidation Tags:", "2"},
      {"VLAttributeValidation FavoriteRank:", "2"},
      {"VLAttributeValidation DownloadEvict:", "2"},
  };
}

std::string VLValidationCase::category() const {
  const std::string text = description();
  for (const auto& [key, category] : casesByCategories()) {
    if (text.find(key) != std::string::npos) return category;
  }
  return "<uncategorized>";
}
