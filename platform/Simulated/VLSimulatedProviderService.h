// VLSimulatedProviderService: an in-process storage provider behind the whole Vaultline
// interface: the reference provider that the runner validates by default and that every
// test runs against.
//
// It plays one VLProvider with a real item tree whose bytes live in a storage directory
// under the process's temporary directory, carries out every action for real and
// asynchronously, reports changes through live collections, offers the validation service,
// and can be told to misbehave in named ways (quirks) so that each validation can be seen
// catching the fault it exists for.
//
// Lifetime: made by make(); install() makes it the process's current platform, which keeps
// it alive until another platform is installed. Being uninstalled (also when the process
// exits) or destroyed is its orderly end: its timers stop, pending latencies are dropped,
// and nothing it scheduled calls back afterwards; actions scheduled later fail with an
// error. Its storage directory is removed when the last reference (including pending work)
// goes. Thread-safe throughout.
#pragma once

#include <memory>
#include <string>

#include "Dispatch/VLDispatchQueue.h"
#include "Simulated/VLSimulatedSettings.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"
#include "Vaultline/VLTypeDatabase.h"

class VLSimulatedActionRunner;
class VLSimulatedItemManager;
class VLSimulatedStore;
class VLSimulatedTimer;

class VLSimulatedProviderService : public VLPlatform, public std::enable_shared_from_this<VLSimulatedProviderService> {
 public:
  // Makes a service from a comma-separated list of quirk names and name=value settings,
  // e.g. "case-sensitive-names,upload-latency=200ms" (every name is listed in the README).
  // Throws VLException naming an unknown name or a bad value and listing the valid names.
  static std::shared_ptr<VLSimulatedProviderService> make(const std::string& settings = "");
  // Makes a service with `settings` as parsed.
  static std::shared_ptr<VLSimulatedProviderService> make(VLSimulatedSettings settings);

  ~VLSimulatedProviderService() override;

  // Makes this service the process's current platform. Throws VLException once the service
  // has ended.
  void install();
  // Ends the service (see above) and waits for the work already on the service queue; later
  // calls do nothing.
  void end();
  // Returns whether end() has run.
  bool hasEnded() const;
  // Returns the provider this service plays.
  std::shared_ptr<VLProvider> provider() const { return provider_; }
  const VLSimulatedSettings& settings() const { return settings_; }
  // Returns the directory that holds the provider's files.
  VLURL storageDirectory() const;
  // Returns the identifier of the alternate root folder, or the root container's when the
  // settings ask for none.
  std::string validationRootIdentifier() const;

  // VLPlatform
  std::shared_ptr<VLItemManager> defaultItemManager() override;
  bool offers(VLPlatformCapability capability) const override;
  void getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion) override;
  bool checkPromisedItemIsReachable(const VLURL& url, VLErrorRef* error) override;
  const VLTypeDatabase& typeDatabase() const override { return *types_; }
  bool coordinateReading(const VLURL& url, VLErrorRef* error, const std::function<void(const VLURL&)>& reader) override;
  bool deviceBooleanProperty(const std::string& name) const override;
  void didUninstall() override;

  VLSimulatedProviderService(const VLSimulatedProviderService&) = delete;
  VLSimulatedProviderService& operator=(const VLSimulatedProviderService&) = delete;

 private:
  explicit VLSimulatedProviderService(VLSimulatedSettings settings);

  const VLSimulatedSettings settings_;
  std::shared_ptr<VLProvider> provider_;
  std::shared_ptr<VLTypeDatabase> types_;
  std::shared_ptr<VLDispatchQueue> queue_;   // the service queue: look-ups and actions, in order
  std::shared_ptr<VLSimulatedTimer> timer_;  // every latency of this service
  std::shared_ptr<VLSimulatedStore> store_;
  std::shared_ptr<VLSimulatedActionRunner> runner_;
  std::shared_ptr<VLSimulatedItemManager> itemManager_;
};
