#include "Vaultline/VLPlatform.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "Core/VLException.h"
#include "Vaultline/VLConstants.h"

namespace {
std::mutex platformMutex;
std::shared_ptr<VLPlatform> installed;  // guarded by platformMutex
}  // namespace

bool vl_revisionOffers(bool current, VLPlatformCapability capability) {
  switch (capability) {
    case VLPlatformCapability::ItemIDWithProviderDomainID:
    case VLPlatformCapability::ItemIDWithProviderIdentifier:
    case VLPlatformCapability::CopyWithURLs:
    case VLPlatformCapability::FetchItemOperationClass:
    case VLPlatformCapability::NewCollectionWithItemID: return current;
    case VLPlatformCapability::ItemIDWithProviderID:
    case VLPlatformCapability::CopyWithSourceURLs: return !current;
  }
  return false;
}

void VLPlatform::install(std::shared_ptr<VLPlatform> platform) {
  std::lock_guard lock(platformMutex);
  installed = std::move(platform);
}

std::shared_ptr<VLPlatform> VLPlatform::currentOrNull() {
  std::lock_guard lock(platformMutex);
  return installed;
}

std::shared_ptr<VLPlatform> VLPlatform::current() {
  auto platform = currentOrNull();
  if (!platform) {
    throw VLException(
        "no Vaultline platform is installed: install one (for example the simulated provider service) before using the "
        "library");
  }
  return platform;
}

bool VLPlatform::checkResourceIsReachable(const VLURL& url, VLErrorRef* error) {
  std::error_code code;
  if (std::filesystem::exists(url.path(), code)) return true;
  if (error) {
    *error = VLError::makeWithDescription(
        VLPOSIXErrorDomain, ENOENT,
        "The file \"" + url.lastPathComponent() + "\" couldn't be opened because there is no such file.");
  }
  return false;
}

bool VLPlatform::coordinateReading(const VLURL& url, VLErrorRef*, const std::function<void(const VLURL&)>& reader) {
  reader(url);
  return true;
}

bool VLPlatform::startAccessingSecurityScopedResource(const VLURL&) { return true; }

void VLPlatform::stopAccessingSecurityScopedResource(const VLURL&) {}

bool VLPlatform::deviceBooleanProperty(const std::string&) const { return false; }

VLURL VLPlatform::temporaryDirectory() const {
  static const VLURL directory = [] {
    const char* base = std::getenv("TMPDIR");
    std::filesystem::path path = (base && *base) ? base : "/tmp";
    path /= "VaultlineValidations-" + std::to_string(::getpid());
    std::error_code ignored;
    std::filesystem::create_directories(path, ignored);
    return VLURL::fileURLWithPath(path.string(), true);
  }();
  return directory;
}
