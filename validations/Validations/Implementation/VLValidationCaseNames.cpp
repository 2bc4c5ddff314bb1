// The names of a case and its category.
#include "Validations/VLValidationCase.h"

#include <locale>
#include <optional>
#include <stdexcept>
#include <vector>

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

// One character of UTF-8 text: its bytes and its code point (none for a malformed byte).
struct Character {
  std::string bytes;
  std::optional<char32_t> codePoint;
};

// Decodes UTF-8 text into characters; a byte that does not start a well-formed sequence is a
// character of its own.
std::vector<Character> characters(const std::string& text) {
  std::vector<Character> result;
  for (size_t i = 0; i < text.size();) {
    auto lead = static_cast<unsigned char>(text[i]);
    size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
    char32_t codePoint = length == 1 ? lead : length == 2 ? lead & 0x1F : length == 3 ? lead & 0x0F : lead & 0x07;
    bool wellFormed = length > 0 && i + length <= text.size();
    for (size_t k = 1; wellFormed && k < length; ++k) {
      auto next = static_cast<unsigned char>(text[i + k]);
      wellFormed = (next & 0xC0) == 0x80;
      codePoint = (codePoint << 6) | (next & 0x3F);
    }
    if (!wellFormed) length = 1;
    result.push_back({text.substr(i, length), wellFormed ? std::optional<char32_t>(codePoint) : std::nullopt});
    i += length;
  }
  return result;
}

// Returns whether the lower-case form of `codePoint` differs from it, by Unicode's case
// mapping (the C.UTF-8 locale's; plain ASCII where no UTF-8 locale is installed).
bool isCapital(char32_t codePoint) {
  static const std::locale& locale = *[] {
    for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8"}) {
      try {
        return new std::locale(name);  // never destroyed, like every process-wide table
      } catch (const std::runtime_error&) {
      }
    }
    return new std::locale(std::locale::classic());
  }();
  auto wide = static_cast<wchar_t>(codePoint);
  return std::use_facet<std::ctype<wchar_t>>(locale).tolower(wide) != wide;
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
  if (name.ends_with(kVariantSuffix)) name = dropLast(name, kVariantSuffix.size());
  if (name.ends_with(':')) name = dropLast(name, 1);

  // Every capital (in any script) but the first starts a word; runs of capitals are split
  // letter by letter and digits never are.
  std::string title;
  bool first = true;
  for (const auto& character : characters(name)) {
    bool capital = character.codePoint && isCapital(*character.codePoint);
    if (capital && !first) title += ' ';
    title += character.bytes;
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
