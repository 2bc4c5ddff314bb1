#include "VLFileTypeValidation.h"

#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#include "Dispatch/VLDispatchTime.h"
#include "Dispatch/VLOperationQueue.h"
#include "Vaultline/VLAttributedString.h"
#include "Vaultline/VLCachedIconBitmap.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLFileManager.h"
#include "Vaultline/VLImageCodec.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLThumbnailFetchOperation.h"
#include "Vaultline/VLTypeDatabase.h"
#include "Vaultline/VLUIToolkit.h"

namespace {

using Validator = VLFileTypeValidation::Validator;

const std::string& kData = *new std::string("public.data");  // never destroyed, like every constant
const int kSide = 50;

VLValue pair(const char* extension, const std::string& type) { return VLValue::Array{extension, type}; }

// Reads one RGBA pixel of 32-bit floats at `offset` bytes into the buffer.
std::array<float, 4> pixelAtByteOffset(const std::vector<float>& pixels, size_t offset) {
  std::array<float, 4> pixel{};
  std::memcpy(pixel.data(), reinterpret_cast<const unsigned char*>(pixels.data()) + offset, sizeof pixel);
  return pixel;
}

// The distance of a pixel from a pure colour, in double precision.
double distance(const std::array<float, 4>& pixel, double red, double green, double blue) {
  return std::abs(double(pixel[0]) - red) + std::abs(double(pixel[1]) - green) + std::abs(double(pixel[2]) - blue);
}

}  // namespace

std::vector<VLValidationOperation> VLFileTypeValidation::operations() {
  using Self = VLFileTypeValidation;
  return {
      {"variantJPEG:", &Self::variantJPEG},
      {"variantText:", &Self::variantText},
      {"variantUnknownItem:", &Self::variantUnknownItem},
      {"variantNoExtension:", &Self::variantNoExtension},
      {"variantRichTextBundle:", &Self::variantRichTextBundle},
      {"variantBrindleFlat:", &Self::variantBrindleFlat},
      {"variantBrindlePackage:", &Self::variantBrindlePackage},
      {"validateFileTypeIsReturnedCorrectly:variant:", &Self::validateFileTypeIsReturnedCorrectly},
      {"validateThumbnailsRepresentItem:", &Self::validateThumbnailsRepresentItem},
  };
}

VLValue VLFileTypeValidation::variantJPEG(const Validator&) { return pair("jpeg", kData); }
VLValue VLFileTypeValidation::variantText(const Validator&) { return pair("txt", kData); }
VLValue VLFileTypeValidation::variantUnknownItem(const Validator&) {
  return pair("randomWeirdExtensionThatProbablyIsntDefined", kData);
}
VLValue VLFileTypeValidation::variantNoExtension(const Validator&) { return pair("", kData); }
VLValue VLFileTypeValidation::variantRichTextBundle(const Validator&) { return pair("rtfd", VLPackageTypeIdentifier); }
VLValue VLFileTypeValidation::variantBrindleFlat(const Validator&) { return pair("brindle", kData); }
VLValue VLFileTypeValidation::variantBrindlePackage(const Validator&) {
  return pair("brindle", VLPackageTypeIdentifier);
}

void VLFileTypeValidation::validateFileTypeIsReturnedCorrectly(const Validator& validator, const VLValue& variant) {
  const VLValue::Array* values = variant.array();
  if (!values || values->size() != 2 || !(*values)[0].string() || !(*values)[1].string()) {
    throw VLException("validateFileTypeIsReturnedCorrectly: the variant " + variant.description() +
                      " is not an array of two strings (extension, required type)");
  }
  const std::string& extension = *(*values)[0].string();
  const std::string& requiredType = *(*values)[1].string();
  const VLTypeDatabase& types = VLPlatform::current()->typeDatabase();
  const std::string expectedType = types.preferredIdentifierForExtension(extension, requiredType);
  const std::string looseType = types.preferredIdentifierForExtension(extension);
  const std::string container = provider()->alternateRootContainer();

  VLItemRef item;
  if (expectedType == "public.jpeg") {
    item = createTestFile(validator, container, jpegData(), extension);
  } else if (expectedType == "public.plain-text") {
    item = createTestFile(validator, container, VLData::fromString("Hella sparse"), extension);
  } else if (requiredType == VLPackageTypeIdentifier) {
    item = importRichTextPackage(validator, container, extension);
  } else {
    item = createTestFile(validator, container, std::nullopt, extension);
  }
  if (!item) return;

  auto conforms = validator->expectationWithDescription("Expect item with extension %@ to conform to type %@",
                                                        extension.empty() ? "(no extension)" : extension, expectedType);
  const std::string& type = item->typeIdentifier();
  if (types.conforms(type, expectedType)) {
    conforms->fulfill();
  } else if (types.conforms(type, looseType)) {
    conforms->failWithError(VLError::makeWithDescription(
        KsVaultlineValidationErrorDomain, VLValidationErrorCheckFailed,
        VLFormat("Item %@ doesn't conform to type %@, but does conform to type %@ for the same extension that "
                 "doesn't conform to %@.",
                 item->itemIdentifier(), expectedType, looseType, requiredType)));
  } else {
    conforms->failWithError(VLError::makeWithDescription(
        KsVaultlineValidationErrorDomain, VLValidationErrorCheckFailed,
        VLFormat("Item %@ has type %@ which doesn't conform to type %@", item->itemIdentifier(), type, expectedType)));
  }
}

VLItemRef VLFileTypeValidation::importRichTextPackage(const Validator& validator, const std::string& container,
                                                      const std::string& extension) {
  auto writing = validator->expectationWithDescription("writing rtfd wrapper");
  VLAttributedString text("Not very fancy");
  VLErrorRef error;
  auto package = text.fileWrapperFromRange(
      0, text.length(), {{VLUIToolkit::documentTypeDocumentAttribute(), VLUIToolkit::rtfdTextDocumentType()}}, &error);
  if (!package) {
    writing->failWithError(error);
    return nullptr;
  }
  // Not marked as a directory: the import copies the package instead of making a folder.
  std::string name = newFilenameForDirectory(false) + "." + extension;
  VLURL target = VLFileManager::defaultManager().temporaryDirectory().URLByAppendingPathComponent(name, false);
  if (!package->writeToURL(target, &error)) {
    writing->failWithError(error);
    return nullptr;
  }
  writing->fulfill();
  return importTestItem(validator, container, target);
}

void VLFileTypeValidation::validateThumbnailsRepresentItem(const Validator& validator) {
  VLItemRef item = createTestFile(validator, provider()->alternateRootContainer(), jpegData(), std::string("jpeg"));
  if (!item) return;

  auto fetch = validator->itemManager()->thumbnailsFetchOperationForItems({item}, VLSize{kSide, kSide}, 1.0);
  if (!fetch) throw VLException("the item manager returned no thumbnail fetch operation");
  auto finishes = validator->expectationWithDescription("Thumbnail operation finishes");
  // Written by the callback on the operation's thread; read here only once the queue has drained.
  struct Kept {
    VLData data;
    std::string format;
  };
  auto kept = std::make_shared<std::optional<Kept>>();
  std::weak_ptr<VLValidator> weakValidator = validator;
  fetch->setPerThumbnailCompletionBlock([kept, finishes, weakValidator](
                                            const VLItemRef&, const std::optional<VLData>& data,
                                            const std::string& format, const VLErrorRef& error) {
    auto validator = weakValidator.lock();
    if (error) {
      if (validator)
        validator->markInconclusiveWithComment("Thumbnail operation failed with error %@", vl_prettyDescription(error));
    } else if (data) {
      *kept = Kept{*data, format};
    } else if (validator) {
      validator->markInconclusiveWithComment("Thumbnail operation didn't return a thumbnail");
    }
    finishes->fulfill();
  });
  auto queue = VLOperationQueue::make();
  queue->addOperation(fetch);
  vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, VLDispatchTimeForever);

  if (!*kept) return;
  auto image = imageDataForThumbnail((*kept)->data, (*kept)->format);
  auto pixels = image ? sampleThumbnailPixels(*image) : std::nullopt;
  if (!pixels) {
    // Deliberately stricter than ending without a check: a thumbnail nobody could look at
    // must never let the case pass.
    validator->markInconclusiveWithComment("Thumbnail data could not be decoded as an image");
    return;
  }
  auto green = validator->expectationWithDescription("expect a green pixel in the top half");
  auto red = validator->expectationWithDescription("expect a red pixel in the bottom half");
  pixels->greenInTopHalf ? green->fulfill() : green->fail();
  pixels->redInBottomHalf ? red->fulfill() : red->fail();
}

VLData VLFileTypeValidation::jpegData() {
  VLBitmap picture(kSide, kSide);
  picture.fillRect(0, 0, kSide, kSide / 2.0, 1, 0, 0, 1);
  picture.fillRect(0, kSide / 2.0, kSide, kSide / 2.0, 0, 1, 0, 1);
  return VLImageCodec::encodeJPEG(picture);
}

std::optional<VLData> VLFileTypeValidation::imageDataForThumbnail(const VLData& thumbnail, const std::string& format) {
  std::optional<VLBitmap> image;
  if (format == VLThumbnailFormatCachedIconBitmap) {
    // Providers also send a PNG or JPEG under this format; those are judged like any picture.
    image = VLCachedIconBitmap::decode(thumbnail);
    if (!image) image = VLUIToolkit::imageWithData(thumbnail);
  } else if (format == VLThumbnailFormatUndecorated) {
    // An undecorated thumbnail is the picture itself; its icon rendering adds nothing.
    image = VLUIToolkit::imageWithData(thumbnail);
  } else {
    return thumbnail;
  }
  if (!image) return std::nullopt;
  return VLUIToolkit::PNGRepresentation(*image);
}

std::optional<VLFileTypeValidation::ThumbnailPixels> VLFileTypeValidation::sampleThumbnailPixels(const VLData& image) {
  auto decoded = VLUIToolkit::imageWithData(image);
  if (!decoded) return std::nullopt;
  // 16 bytes per pixel, 800 per row, rows from the top: column 25 of rows 12 and 36.
  std::vector<float> pixels = decoded->floatPixelsScaledTo(kSide, kSide);
  auto top = pixelAtByteOffset(pixels, 10000);
  auto bottom = pixelAtByteOffset(pixels, 29200);
  return ThumbnailPixels{distance(top, 0, 1, 0) < 0.1, distance(bottom, 1, 0, 0) < 0.1};
}
