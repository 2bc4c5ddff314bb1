#include "Vaultline/VLFileManager.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Core/VLRandom.h"
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
  // Never through a symbolic link at the last step: a link planted where a file is about to be
  // written would send the bytes elsewhere. The atomic write's scratch file must be new
  // (O_EXCL), under a name nobody could guess.
  std::string path = target;
  int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
  if (atomically) {
    uint8_t salt[6];
    vl_randomBytes(salt, sizeof salt);
    path += ".vltmp-";
    for (uint8_t byte : salt) path += "0123456789abcdef"[byte >> 4], path += "0123456789abcdef"[byte & 15];
    flags |= O_EXCL;
  } else {
    flags |= O_TRUNC;
  }
  int fd = ::open(path.c_str(), flags, 0666);
  if (fd < 0) return fail(error, errno == ELOOP ? EPERM : errno, url);
  const uint8_t* bytes = data.bytes();
  size_t left = data.length();
  while (left > 0) {
    ssize_t written = ::write(fd, bytes, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      int code = written < 0 ? errno : EIO;
      ::close(fd);
      if (atomically) ::unlink(path.c_str());
      return fail(error, code, url);
    }
    bytes += written;
    left -= static_cast<size_t>(written);
  }
  if (::close(fd) != 0) {
    int code = errno;
    if (atomically) ::unlink(path.c_str());
    return fail(error, code, url);
  }
  if (atomically && std::rename(path.c_str(), target.c_str()) != 0) {
    int code = errno;
    ::unlink(path.c_str());
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
