// VLAttributedString: text as the toolkit's rich-text system holds it (the library uses it
// without character attributes), able to hand out a range of itself as a rich-text
// document ready to be written to disk.
//
// An immutable value; safe to share between threads.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "Core/VLError.h"
#include "Core/VLValue.h"
#include "Vaultline/VLFileWrapper.h"

class VLAttributedString {
 public:
  // Makes a string of `text` (UTF-8) without attributes.
  explicit VLAttributedString(std::string text);

  const std::string& string() const { return text_; }
  // Returns the length in characters (Unicode code points; a malformed byte counts as one).
  size_t length() const;

  // Returns the characters from `location` on, `length` of them, as a document of the type
  // that `documentAttributes` name under VLUIToolkit::documentTypeDocumentAttribute(). Rich
  // text with attachments (VLUIToolkit::rtfdTextDocumentType()) is a package: a directory
  // wrapper holding the text as "TXT.rtf". Returns null, with an error saying why, for a
  // range that leaves the string or a document type that is missing or not supported.
  std::shared_ptr<const VLFileWrapper> fileWrapperFromRange(size_t location, size_t length,
                                                            const VLValue::Dictionary& documentAttributes,
                                                            VLErrorRef* error = nullptr) const;

 private:
  std::string text_;
};
