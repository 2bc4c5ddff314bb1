#include "Remote/VLRemotePlatform.h"

#include <cerrno>

#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLProtocolMethod.h"
#include "Remote/VLRemoteChildProcess.h"
#include "Remote/VLRemoteItemManager.h"
#include "Remote/VLRemoteService.h"
#include "Remote/VLRemoteSocket.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLFileManager.h"
#include "Vaultline/VLStandardTypes.h"

using nlohmann::json;

std::shared_ptr<VLRemotePlatform> VLRemotePlatform::launch(const std::string& commandLine, Options options) {
  return open(VLRemoteChildProcess::spawn(commandLine), options);
}

std::shared_ptr<VLRemotePlatform> VLRemotePlatform::launch(const std::vector<std::string>& words, Options options) {
  return open(VLRemoteChildProcess::spawn(words), options);
}

std::shared_ptr<VLRemotePlatform> VLRemotePlatform::connectToSocket(const std::string& path, Options options) {
  return open(VLRemoteSocket::connect(path), options);
}

std::shared_ptr<VLRemotePlatform> VLRemotePlatform::open(std::unique_ptr<VLRemoteTransport> transport,
                                                         Options options) {
  return std::shared_ptr<VLRemotePlatform>(new VLRemotePlatform(VLRemoteSession::open(std::move(transport), options)));
}

VLRemotePlatform::VLRemotePlatform(std::shared_ptr<VLRemoteSession> session)
    : session_(std::move(session)), itemManager_(VLRemoteItemManager::make(session_)) {
  vl_declareStandardTypes(types_);
}

VLRemotePlatform::~VLRemotePlatform() { close(); }

void VLRemotePlatform::install() { VLPlatform::install(shared_from_this()); }

void VLRemotePlatform::close() { session_->close(); }

std::shared_ptr<VLItemManager> VLRemotePlatform::defaultItemManager() { return itemManager_; }

bool VLRemotePlatform::offers(VLPlatformCapability capability) const {
  return vl_revisionOffers(!session_->isOlderRevision(), capability);
}

bool VLRemotePlatform::deviceBooleanProperty(const std::string& name) const {
  return session_->deviceBooleanProperty(name);
}

void VLRemotePlatform::getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion) {
  auto session = session_;
  session_->request(VLProtocolMethod::kFilesServices, {{"path", url.path()}},
                    [session, completion = std::move(completion)](const VLRemoteSession::Answer& answer) {
                      VLVaultlineServices services;
                      VLErrorRef reported;
                      VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
                        reported = session->codec().decodeOptionalError(result);
                        if (reported) return;
                        for (const auto& entry : result.field("services").array()) {
                          std::string name = entry.field("name").string();
                          services[name] = VLRemoteService::make(session, name, entry.field("service").string());
                        }
                      });
                      if (error || reported) services.clear();
                      completion(services, error ? error : reported);
                    });
}

std::optional<std::string> VLRemotePlatform::fileState(const VLURL& url, VLErrorRef* error) {
  std::string state;
  auto answer = session_->requestAndWait(VLProtocolMethod::kFilesState, {{"path", url.path()}});
  VLErrorRef failure = answer.decode([&](const VLRemoteJSONReader& result) {
    auto field = result.field("state");
    state = field.string();
    if (state != "materialized" && state != "placeholder" && state != "absent") {
      field.fail("expected \"materialized\", \"placeholder\" or \"absent\", got \"" + state + "\"");
    }
  });
  if (failure) {
    if (error) *error = failure;
    return std::nullopt;
  }
  return state;
}

bool VLRemotePlatform::checkResourceIsReachable(const VLURL& url, VLErrorRef* error) {
  VLErrorRef failure;
  auto state = fileState(url, &failure);
  if (state == "materialized") return true;
  if (error) {
    *error = failure ? failure
                     : VLError::makeWithDescription(VLPOSIXErrorDomain, ENOENT,
                                                    "The file \"" + url.lastPathComponent() +
                                                        "\" couldn't be opened because there is no such file.");
  }
  return false;
}

bool VLRemotePlatform::checkPromisedItemIsReachable(const VLURL& url, VLErrorRef* error) {
  VLErrorRef failure;
  auto state = fileState(url, &failure);
  if (state && *state != "absent") return true;
  if (error) *error = failure ? failure : VLFileManager::posixError(ENOENT, url);
  return false;
}

bool VLRemotePlatform::coordinateReading(const VLURL& url, VLErrorRef* error,
                                         const std::function<void(const VLURL&)>& reader) {
  VLErrorRef reported;
  auto answer = session_->requestAndWait(VLProtocolMethod::kFilesMaterialize, {{"path", url.path()}});
  VLErrorRef failure = answer.decode(
      [&](const VLRemoteJSONReader& result) { reported = session_->codec().decodeOptionalError(result); });
  if (failure || reported) {
    if (error) *error = failure ? failure : reported;
    return false;
  }
  reader(url);
  return true;
}
