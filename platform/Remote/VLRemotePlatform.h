// VLRemotePlatform: the Vaultline interface for a storage provider that runs in its own
// process and speaks the provider protocol (docs/provider-protocol.md), over one session.
//
// A runner makes one with launch() ("--provider exec:COMMAND ARGS…") or connectToSocket()
// ("--provider unix:PATH"); each starts or reaches the provider and completes the handshake
// before it returns, or throws VLProviderProtocolException (a VLException) whose message
// says why — the runner reports it and stops with exit code 4. Then install() makes it the
// current platform and provider() is the VLProvider to validate, as with the simulated
// service.
//
// Everything the library asks of the platform becomes requests to the provider; collections
// are kept by the host from the provider's item-level changes; the type database is the
// host's standard table. Faults of the provider process are errors on the operations they
// concern (domain VLProviderProtocolErrorDomain); once the provider has gone, every later
// request fails at once with that reason. The session ends with close() or when the last
// reference goes (the provider is asked to exit). Thread-safe.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Remote/VLProviderProtocolError.h"
#include "Remote/VLRemoteSession.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"
#include "Vaultline/VLTypeDatabase.h"

class VLRemoteItemManager;

class VLRemotePlatform : public VLPlatform, public std::enable_shared_from_this<VLRemotePlatform> {
 public:
  using Options = VLRemoteSession::Options;

  // Starts `commandLine` (split into words like a shell's, with quotes and backslashes) as a
  // child process speaking on its standard input and output, and greets it.
  static std::shared_ptr<VLRemotePlatform> launch(const std::string& commandLine, Options options = {});
  // Starts the provider program with `words` as its arguments, exactly as given, and greets it.
  static std::shared_ptr<VLRemotePlatform> launch(const std::vector<std::string>& words, Options options = {});
  // Connects to a provider daemon listening on the Unix domain socket at `path`, and greets it.
  static std::shared_ptr<VLRemotePlatform> connectToSocket(const std::string& path, Options options = {});
  // Greets a provider over an already open transport (tests, in-process servers).
  static std::shared_ptr<VLRemotePlatform> open(std::unique_ptr<VLRemoteTransport> transport, Options options = {});
  ~VLRemotePlatform() override;

  // Makes this platform the process's current one.
  void install();
  // Returns the provider the process plays, as its handshake described it.
  std::shared_ptr<VLProvider> provider() const { return session_->provider(); }
  // Ends the session: the provider is asked to exit; later requests fail with
  // VLProviderProtocolErrorClosed.
  void close();
  const std::shared_ptr<VLRemoteSession>& session() const { return session_; }
  // The session's facts: protocol faults, the provider's standard error, its end.
  std::shared_ptr<VLProviderFacts> providerFacts() override { return session_->facts(); }

  // VLPlatform
  std::shared_ptr<VLItemManager> defaultItemManager() override;
  bool offers(VLPlatformCapability capability) const override;
  void getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion) override;
  bool checkPromisedItemIsReachable(const VLURL& url, VLErrorRef* error) override;
  bool checkResourceIsReachable(const VLURL& url, VLErrorRef* error) override;
  bool coordinateReading(const VLURL& url, VLErrorRef* error, const std::function<void(const VLURL&)>& reader) override;
  const VLTypeDatabase& typeDatabase() const override { return types_; }
  bool deviceBooleanProperty(const std::string& name) const override;

  VLRemotePlatform(const VLRemotePlatform&) = delete;
  VLRemotePlatform& operator=(const VLRemotePlatform&) = delete;

 private:
  explicit VLRemotePlatform(std::shared_ptr<VLRemoteSession> session);
  // Asks the provider what stands at `url`: "materialized", "placeholder" or "absent";
  // none (with `error` set) when it cannot tell.
  std::optional<std::string> fileState(const VLURL& url, VLErrorRef* error);

  const std::shared_ptr<VLRemoteSession> session_;
  const std::shared_ptr<VLRemoteItemManager> itemManager_;
  VLTypeDatabase types_;
};
