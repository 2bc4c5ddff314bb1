#include "Vaultline/VLFileWrapper.h"

#include <filesystem>

#include "Core/VLException.h"
#include "Vaultline/VLFileManager.h"

namespace fs = std::filesystem;

std::shared_ptr<const VLFileWrapper> VLFileWrapper::makeRegularFile(VLData contents) {
  return std::shared_ptr<const VLFileWrapper>(new VLFileWrapper(false, std::move(contents), {}));
}

std::shared_ptr<const VLFileWrapper> VLFileWrapper::makeDirectory(Children children) {
  for (const auto& [name, child] : children) {
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
      throw VLException("VLFileWrapper::makeDirectory: \"" + name + "\" cannot name a file in a directory");
    }
    if (!child) throw VLException("VLFileWrapper::makeDirectory: no wrapper given for \"" + name + "\"");
  }
  return std::shared_ptr<const VLFileWrapper>(new VLFileWrapper(true, VLData(), std::move(children)));
}

bool VLFileWrapper::writeToURL(const VLURL& url, VLErrorRef* error) const {
  std::error_code code;
  fs::remove_all(url.path(), code);
  if (code) {
    if (error) *error = VLFileManager::posixError(code.value(), url);
    return false;
  }
  if (!directory_) return VLFileManager::defaultManager().writeData(contents_, url, false, error);
  if (!VLFileManager::defaultManager().createDirectoryAtURL(url, false, error)) return false;
  for (const auto& [name, child] : children_) {
    if (!child->writeToURL(url.URLByAppendingPathComponent(name, child->isDirectory()), error)) return false;
  }
  return true;
}
