#include "Vaultline/VLPlatform.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <utility>

#include "Core/VLException.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLProviderFacts.h"

namespace {
// Never destroyed: other threads may still ask for the platform while the process exits.
std::mutex& platformMutex = *new std::mutex;
std::shared_ptr<VLPlatform>& installed = *new std::shared_ptr<VLPlatform>;  // guarded by platformMutex

// The process's scratch directory, once made, and the process that made it: a forked child
// that exits must not remove its parent's directory. Written once, under the static's guard.
std::filesystem::path& scratchPath = *new std::filesystem::path;
pid_t scratchOwner = 0;

// Runs before the static objects that existed when the first platform was installed are
// destroyed, so the platform's own threads stop while everything they use is still there.
// Then nothing writes into the scratch directory any more, and it goes: a run leaves nothing
// behind in the temporary directory.
void uninstallAtExit() {
  VLPlatform::install(nullptr);
  VLPlatform::removeTemporaryDirectory();
}
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
  static std::once_flag exitHook;
  std::call_once(exitHook, [] { std::atexit(uninstallAtExit); });
  std::shared_ptr<VLPlatform> previous;
  {
    std::lock_guard lock(platformMutex);
    previous = std::exchange(installed, std::move(platform));
    if (previous == installed) previous = nullptr;
  }
  if (previous) previous->didUninstall();
}

void VLPlatform::removeTemporaryDirectory() {
  if (scratchOwner == ::getpid() && !scratchPath.empty()) {
    // A thread abandoned at an interrupt may still be writing inside: a file it makes
    // between the walk and the folder's removal fails that pass, so go again a few times.
    std::error_code error;
    for (int pass = 0; pass < 5; ++pass) {
      std::filesystem::remove_all(scratchPath, error);
      if (!error) break;
    }
  }
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

std::shared_ptr<VLProviderFacts> VLPlatform::providerFacts() {
  // Never destroyed, like the platform slot: a subscription may end while the process exits.
  static auto& silent = *new std::shared_ptr<VLProviderFacts>(VLProviderFacts::make());
  return silent;
}

VLURL VLPlatform::temporaryDirectory() const {
  static const VLURL& directory = *[] {
    const char* base = std::getenv("TMPDIR");
    std::string parent = (base && *base) ? base : "/tmp";
    while (parent.size() > 1 && parent.back() == '/') parent.pop_back();
    // mkdtemp picks a name nobody could have planted beforehand and makes the folder 0700, so
    // another user can neither swap anything inside it nor read what a crashed run left.
    std::string pattern = parent + "/VaultlineValidations-XXXXXX";
    if (!::mkdtemp(pattern.data())) {
      int code = errno;
      throw VLException("cannot create the run's working folder in " + parent + ": " + std::strerror(code) +
                        " (set TMPDIR to a folder of your own)");
    }
    scratchPath = pattern;
    scratchOwner = ::getpid();
    return new VLURL(VLURL::fileURLWithPath(pattern, true));  // never destroyed
  }();
  return directory;
}
