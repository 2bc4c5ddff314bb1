// VLUIToolkit: the few things the library takes from the platform's user-interface toolkit:
// the document attribute that names a rich-text document's type and its value for rich text
// with attachments, the image class that decodes image data, and PNG encoding.
//
// The toolkit is bound lazily: nothing is loaded until one of these is first used; then it
// is loaded once per process and kept for the process's life, and each thing is looked up by
// name at its own first use and kept too. Programs that never need them never load it. A
// thing that cannot be found is a broken installation and stops the process (for the image
// class with "Unable to find class <name>"). All functions are safe from any thread.
#pragma once

#include <optional>
#include <string>

#include "Core/VLData.h"
#include "Vaultline/VLBitmap.h"

class VLUIToolkit {
 public:
  // Returns the document attribute key whose value names a rich-text document's type.
  static const std::string& documentTypeDocumentAttribute();
  // Returns the document type value of rich text with attachments (a package).
  static const std::string& rtfdTextDocumentType();
  // Decodes the first image of `data` (JPEG or PNG) through the toolkit's image class;
  // none when the data is no image it can read.
  static std::optional<VLBitmap> imageWithData(const VLData& data);
  // Returns the PNG representation of `image`.
  static VLData PNGRepresentation(const VLBitmap& image);
};
