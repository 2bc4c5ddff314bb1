// VLRichTextReader: turns a rich-text (RTF) document into its plain text. Private to the
// harness; runners get documentation through VLValidationCase::documentationText().
//
// It keeps the visible characters of the body: paragraph and line breaks become "\n", tabs
// "\t", escaped and Unicode characters are decoded to UTF-8 (8-bit escapes as Windows-1252),
// and the font, colour and style tables, document information, pictures and every ignorable
// destination are left out. Formatting is dropped. Stateless; safe from any thread.
#pragma once

#include <optional>
#include <string>

class VLRichTextReader {
 public:
  // Returns the plain text of `document`, or none when it does not begin with "{\rtf".
  // Trailing line breaks are removed.
  static std::optional<std::string> plainText(const std::string& document);
};
