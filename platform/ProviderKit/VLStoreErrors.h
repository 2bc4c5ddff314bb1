// VLStoreErrors: the errors a store answers most, made the way the library recognises them
// (domain, code, a description for people, and for collisions the existing item).
#pragma once

#include <string>

#include "Core/VLError.h"
#include "Vaultline/VLItem.h"

class VLStoreErrors {
 public:
  // KsVaultlineErrorDomain -1005: "The item "ID" doesn't exist."
  static VLErrorRef noSuchItem(const std::string& identifier);
  // KsVaultlineErrorDomain -1001, carrying `existing` (the item that has the name).
  static VLErrorRef collision(const VLItemRef& existing);
  // KsVaultlineErrorDomain -1006 with `description`.
  static VLErrorRef notSupported(const std::string& description);
  // VLPOSIXErrorDomain with the errno value `code`.
  static VLErrorRef posix(int code, const std::string& description);
};
