#include "ProviderKit/VLStoreTypes.h"

#include "Vaultline/VLStandardTypes.h"

VLStoreTypes::VLStoreTypes() { vl_declareStandardTypes(types_); }

std::string VLStoreTypes::extensionOf(const std::string& name) {
  size_t dot = name.rfind('.');
  return dot == std::string::npos || dot == 0 ? "" : name.substr(dot + 1);
}

bool VLStoreTypes::isPackage(const std::string& name) const {
  return types_.isDeclared(types_.preferredIdentifierForExtension(extensionOf(name), VLPackageTypeIdentifier));
}

std::string VLStoreTypes::typeFor(const std::string& name, bool isDirectory) const {
  std::string extension = extensionOf(name);
  if (!isDirectory) return types_.preferredIdentifierForExtension(extension, std::string("public.data"));
  std::string package = types_.preferredIdentifierForExtension(extension, VLPackageTypeIdentifier);
  return types_.isDeclared(package) ? package : "public.folder";
}
