#include "Vaultline/VLUIToolkit.h"

#include <map>

#include "Core/VLLog.h"
#include "Vaultline/VLImageCodec.h"

namespace {

// The toolkit's image class: what the library asks of it.
struct VLImageClass {
  std::optional<VLBitmap> (*imageWithData)(const VLData& data);
  VLData (*PNGRepresentation)(const VLBitmap& image);
};

std::optional<VLBitmap> decodeImage(const VLData& data) { return VLImageCodec::decode(data); }
VLData encodePNG(const VLBitmap& image) { return VLImageCodec::encodePNG(image); }

// The loaded toolkit: what it exports, by name.
struct LoadedToolkit {
  std::map<std::string, std::string> strings;
  std::map<std::string, VLImageClass> classes;
};

// Loaded at the first use of anything it exports, once, and kept for the process's life.
const LoadedToolkit& loadedToolkit() {
  static const LoadedToolkit toolkit{
      {{"VLDocumentTypeDocumentAttribute", "DocumentType"}, {"VLRTFDTextDocumentType", "RTFD"}},
      {{"VLImage", VLImageClass{&decodeImage, &encodePNG}}}};
  return toolkit;
}

const std::string& stringNamed(const char* name) {
  const auto& strings = loadedToolkit().strings;
  auto found = strings.find(name);
  if (found == strings.end()) vl_assertionFailure(VLFormat("Unable to find symbol %s", name));
  return found->second;
}

const VLImageClass& imageClass() {
  static const VLImageClass& bound = []() -> const VLImageClass& {
    const char* name = "VLImage";
    const auto& classes = loadedToolkit().classes;
    auto found = classes.find(name);
    if (found == classes.end()) vl_assertionFailure(VLFormat("Unable to find class %s", name));
    return found->second;
  }();
  return bound;
}

}  // namespace

const std::string& VLUIToolkit::documentTypeDocumentAttribute() {
  static const std::string& bound = stringNamed("VLDocumentTypeDocumentAttribute");
  return bound;
}

const std::string& VLUIToolkit::rtfdTextDocumentType() {
  static const std::string& bound = stringNamed("VLRTFDTextDocumentType");
  return bound;
}

std::optional<VLBitmap> VLUIToolkit::imageWithData(const VLData& data) { return imageClass().imageWithData(data); }

VLData VLUIToolkit::PNGRepresentation(const VLBitmap& image) { return imageClass().PNGRepresentation(image); }
