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
  std::string problem = problemCarryingCalls(KsVaultlineValidationServiceV1ProtocolName);
  if (problem.empty()) {
    session_->request(method, {{"service", token_}}, std::move(answered));
  } else if (handler) {
    auto error = VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable, problem);
    VLBackgroundQueue::shared().async([handler, error] { handler(error); });
  }
}
