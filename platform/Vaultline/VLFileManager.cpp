#include "Vaultline/VLFileManager.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Vaultline/VLConstants.h"

namespace fs = std::filesystem;

namespace {
bool fail(VLErrorRef* error, int code, const VLURL& url) {
  if (error) *error = VLFileManager::posixError(code, url);
  return false;
}
}  // namespace

VLFileManager& VLFileManager::defaultManager() {
  static auto& manager = *new VLFileManager;  // never destroyed: used by threads still at work at exit
  return manager;
}

VLErrorRef VLFileManager::posixError(int code, const VLURL& url) {
  return VLError::make(VLPOSIXErrorDomain, code,
                       {{VLLocalizedDescriptionKey, std::string(std::strerror(code)) + ": " + url.path()}});
}

void VLFileManager::getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion) {
  VLPlatform::current()->getVaultlineServicesForItemAtURL(url, std::move(completion));
}

VLURL VLFileManager::temporaryDirectory() { return VLPlatform::current()->temporaryDirectory(); }

bool VLFileManager::createDirectoryAtURL(const VLURL& url, bool intermediates, VLErrorRef* error) {
  std::error_code code;
  if (intermediates) {
    fs::create_directories(url.path(), code);
  } else if (!fs::create_directory(url.path(), code) && !code && !fs::is_directory(url.path())) {
    return fail(error, EEXIST, url);
  }
  return code ? fail(error, code.value(), url) : true;
}

bool VLFileManager::writeData(const VLData& data, const VLURL& url, bool atomically, VLErrorRef* error) {
  std::string target = url.path();
  std::string path = atomically ? target + ".vltmp-" + std::to_string(::getpid()) : target;
  {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return fail(error, errno ? errno : EIO, url);
    out.write(reinterpret_cast<const char*>(data.bytes()), static_cast<std::streamsize>(data.length()));
    if (!out) return fail(error, EIO, url);
  }
  if (atomically && std::rename(path.c_str(), target.c_str()) != 0) {
    int code = errno;
    std::remove(path.c_str());
    return fail(error, code, url);
  }
  return true;
}

std::optional<VLData> VLFileManager::contentsAtURL(const VLURL& url, VLErrorRef* error) {
  std::ifstream in(url.path(), std::ios::binary);
  if (!in || fs::is_directory(url.path())) {
    fail(error, fs::is_directory(url.path()) ? EISDIR : ENOENT, url);
    return std::nullopt;
  }
  std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return VLData(std::move(bytes));
}

bool VLFileManager::removeItemAtURL(const VLURL& url, VLErrorRef* error) {
  std::error_code code;
  if (fs::remove_all(url.path(), code) == 0 && !code) return fail(error, ENOENT, url);
  return code ? fail(error, code.value(), url) : true;
}

bool VLFileManager::checkResourceIsReachable(const VLURL& url, VLErrorRef* error) {
  return VLPlatform::current()->checkResourceIsReachable(url, error);
}

bool VLFileManager::checkPromisedItemIsReachable(const VLURL& url, VLErrorRef* error) {
  return VLPlatform::current()->checkPromisedItemIsReachable(url, error);
}

bool VLFileManager::startAccessingSecurityScopedResource(const VLURL& url) {
  return VLPlatform::current()->startAccessingSecurityScopedResource(url);
}

void VLFileManager::stopAccessingSecurityScopedResource(const VLURL& url) {
  VLPlatform::current()->stopAccessingSecurityScopedResource(url);
}
