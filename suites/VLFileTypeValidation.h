// VLFileTypeValidation: checks that an item imported with a filename extension comes back
// with a type that conforms to the type the extension stands for, and that the provider's
// thumbnail of an imported picture shows that picture the right way up.
//
// The type check runs once per variant, each an (extension, required parent type) pair:
// JPEG, plain text, an unknown extension, none, and three packages or flat documents whose
// extension means different types under different parents. Every test file goes into the
// provider's validation root (its alternateRootContainer). Cases run on the background
// thread of case execution and block there; the suite keeps no state between validations.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Validations/Validations.h"

class VLFileTypeValidation : public VLValidationCase {
 public:
  using Validator = std::shared_ptr<VLValidator>;

  // What the two pixel checks found in a thumbnail redrawn at 50 × 50.
  struct ThumbnailPixels {
    bool greenInTopHalf = false;
    bool redInBottomHalf = false;
  };

  // Returns the suite's operations in listing order, for registration.
  static std::vector<VLValidationOperation> operations();

  // Each variant ignores its argument and returns (extension, type it must conform to).
  VLValue variantJPEG(const Validator& validator);
  VLValue variantText(const Validator& validator);
  VLValue variantUnknownItem(const Validator& validator);
  VLValue variantNoExtension(const Validator& validator);
  VLValue variantRichTextBundle(const Validator& validator);
  VLValue variantBrindleFlat(const Validator& validator);
  VLValue variantBrindlePackage(const Validator& validator);

  // Imports a file (or, for a package type, a rich-text package) with the variant's
  // extension and expects its reported type to conform to the extension's type under the
  // variant's parent. Throws VLException for a variant that is not two strings.
  void validateFileTypeIsReturnedCorrectly(const Validator& validator, const VLValue& variant);
  // Imports the test picture, fetches its 50 × 50 thumbnail and expects green in the top
  // half and red in the bottom half; no thumbnail, an error, or data that cannot be decoded
  // as an image is inconclusive, never a pass.
  void validateThumbnailsRepresentItem(const Validator& validator);

  // Returns the test picture: 50 × 50, red lower half, green upper half, as JPEG.
  static VLData jpegData();
  // Returns the image data a thumbnail of `format` stands for, re-encoded as PNG: an
  // undecorated thumbnail is PNG or JPEG; a cached-icon-bitmap thumbnail is the icon
  // bitmap layout (VLCachedIconBitmap), PNG or JPEG. None when it is none of those; any
  // other format is returned as it came.
  static std::optional<VLData> imageDataForThumbnail(const VLData& thumbnail, const std::string& format);
  // Decodes `image`, redraws it at 50 × 50 in 32-bit float RGBA and samples column 25 at
  // rows 12 and 36 (from the top). None when `image` is no image.
  static std::optional<ThumbnailPixels> sampleThumbnailPixels(const VLData& image);

 private:
  // Writes "Not very fancy" as a rich-text package with `extension` and imports it into
  // `container` ("writing rtfd wrapper"). Returns the imported item or null.
  VLItemRef importRichTextPackage(const Validator& validator, const std::string& container,
                                  const std::string& extension);
};
