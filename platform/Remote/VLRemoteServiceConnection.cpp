#include "Remote/VLRemoteServiceConnection.h"

#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLRemoteValidationProxy.h"
#include "Vaultline/KsVaultlineValidationServiceV1.h"
#include "Vaultline/VLConstants.h"

std::shared_ptr<VLRemoteServiceConnection> VLRemoteServiceConnection::make(std::shared_ptr<VLRemoteSession> session,
                                                                           std::string token) {
  return std::shared_ptr<VLRemoteServiceConnection>(
      new VLRemoteServiceConnection(std::move(session), std::move(token)));
}

void VLRemoteServiceConnection::resume() {
  std::lock_guard lock(stateMutex_);
  resumed_ = true;
}

void VLRemoteServiceConnection::invalidate() {
  std::lock_guard lock(stateMutex_);
  invalidated_ = true;
}

std::shared_ptr<VLRemoteObjectProxy> VLRemoteServiceConnection::remoteObjectProxy() {
  return VLRemoteValidationProxy::make(shared_from_this(), nullptr);
}

std::shared_ptr<VLRemoteObjectProxy> VLRemoteServiceConnection::remoteObjectProxyWithErrorHandler(
    std::function<void(VLErrorRef)> handler) {
  return VLRemoteValidationProxy::make(shared_from_this(), std::move(handler));
}

void VLRemoteServiceConnection::call(const std::string& method,
                                     std::function<void(const VLRemoteSession::Answer&)> answered,
                                     const std::function<void(VLErrorRef)>& handler) {
  std::string problem;
  {
    std::lock_guard lock(stateMutex_);
    if (invalidated_) {
      problem = "The connection to the validation service was invalidated.";
    } else if (!resumed_) {
      problem = "The connection to the validation service was not resumed.";
    } else if (remoteObjectInterface() != KsVaultlineValidationServiceV1ProtocolName) {
      problem = "The connection's remote interface is not " + KsVaultlineValidationServiceV1ProtocolName + ".";
    }
  }
  if (problem.empty()) {
    session_->request(method, {{"service", token_}}, std::move(answered));
  } else if (handler) {
    auto error = VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable, problem);
    VLBackgroundQueue::shared().async([handler, error] { handler(error); });
  }
}
