// VLPlatform: what stands behind the Vaultline interface in this process: a real service
// client or the simulated provider service.
//
// Exactly one platform is current per process; whoever runs the library (a runner, a test)
// installs it before use. The platform hands out the default item manager, the file
// services that depend on the provider (validation service look-up, placeholder
// reachability, coordinated reading), the type database, device properties, and tells
// which revision-dependent operations exist. Implementations must be thread-safe.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "Core/VLError.h"
#include "Core/VLURL.h"

class VLItemManager;
class VLProviderFacts;
class VLTypeDatabase;
class VLVaultlineService;

// Operations that exist only on some platform revisions.
enum class VLPlatformCapability {
  ItemIDWithProviderDomainID,    // VLItemID::makeWithProviderDomainID
  ItemIDWithProviderIdentifier,  // VLItemID::makeWithProviderIdentifier
  ItemIDWithProviderID,          // VLItemID::makeWithProviderID (the older form)
  CopyWithURLs,                  // VLCopyOperation::makeWithURLs
  CopyWithSourceURLs,            // VLCopyOperation::makeWithSourceURLs (the older form)
  FetchItemOperationClass,       // the class "VLFetchItemOperation"
  NewCollectionWithItemID,       // VLItemManager::newCollectionWithItemID
};

// Returns whether the current revision (or, when `current` is false, the older one) offers
// `capability`: the older revision has only the older item-ID and copy initialisers.
bool vl_revisionOffers(bool current, VLPlatformCapability capability);

using VLVaultlineServices = std::map<std::string, std::shared_ptr<VLVaultlineService>>;
using VLServicesCompletion = std::function<void(const VLVaultlineServices& services, VLErrorRef error)>;

class VLPlatform {
 public:
  virtual ~VLPlatform() = default;

  // Makes `platform` the current one (nullptr uninstalls) and tells the platform it replaces
  // through didUninstall(). The platform current when the process exits is uninstalled then,
  // before the library's static objects go. Thread-safe.
  static void install(std::shared_ptr<VLPlatform> platform);
  // Removes the process's temporary directory (see temporaryDirectory()) with everything in it,
  // if this process made one. For a process about to end without its exit handlers
  // (std::_Exit), which would otherwise leave it behind. Nothing may write into it afterwards.
  static void removeTemporaryDirectory();
  // Returns the current platform; throws VLException when none is installed.
  static std::shared_ptr<VLPlatform> current();
  // Returns the current platform or nullptr.
  static std::shared_ptr<VLPlatform> currentOrNull();

  // Returns the shared item manager of this platform.
  virtual std::shared_ptr<VLItemManager> defaultItemManager() = 0;
  // Returns whether this revision has the given operation.
  virtual bool offers(VLPlatformCapability capability) const = 0;
  // Looks up the services a provider offers for the item at `url`; the completion runs later,
  // on a service thread, with a dictionary from service name to service record, or an error.
  virtual void getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion) = 0;
  // Returns whether a placeholder (a promise of the file) stands at `url`.
  virtual bool checkPromisedItemIsReachable(const VLURL& url, VLErrorRef* error) = 0;
  // Returns the type-identifier database.
  virtual const VLTypeDatabase& typeDatabase() const = 0;

  // Returns whether the file itself (not a placeholder) is at `url`. Default: the file system.
  virtual bool checkResourceIsReachable(const VLURL& url, VLErrorRef* error);
  // Runs `reader` with the URL to read once the item's content is available locally.
  // Default: at once, with `url`. Returns false (with an error) if the content cannot be had.
  virtual bool coordinateReading(const VLURL& url, VLErrorRef* error, const std::function<void(const VLURL&)>& reader);
  // Begins or ends security-scoped access to `url`. Default: granted, nothing to end.
  virtual bool startAccessingSecurityScopedResource(const VLURL& url);
  virtual void stopAccessingSecurityScopedResource(const VLURL& url);
  // Returns a boolean device property such as "InternalBuild"; false where there is none.
  virtual bool deviceBooleanProperty(const std::string& name) const;
  // Returns the process's temporary directory: created on first use under $TMPDIR (or /tmp)
  // with an unpredictable name and mode 0700, never an existing folder; removed with
  // everything in it when the process exits normally (by the process that made it, never by a
  // forked child). Throws VLException naming the parent when it cannot be made.
  virtual VLURL temporaryDirectory() const;
  // Returns the hub where this platform publishes facts about the provider itself (protocol
  // faults, its standard error, its end; see VLProviderFacts), for validators that trace.
  // Default: one process-wide hub that nothing publishes into. A platform that has such
  // facts returns a hub of its own, the same one every time.
  virtual std::shared_ptr<VLProviderFacts> providerFacts();
  // Called once this platform is no longer the current one (another was installed, it was
  // uninstalled, or the process is exiting), on the thread that replaced it. A platform with
  // threads of its own stops them here. Default: nothing.
  virtual void didUninstall() {}
};
