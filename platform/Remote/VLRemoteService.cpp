#include "Remote/VLRemoteService.h"

#include "Dispatch/VLBackgroundQueue.h"
#include "Remote/VLRemoteServiceConnection.h"

std::shared_ptr<VLRemoteService> VLRemoteService::make(std::shared_ptr<VLRemoteSession> session, std::string name,
                                                       std::string token) {
  return std::shared_ptr<VLRemoteService>(new VLRemoteService(std::move(session), std::move(name), std::move(token)));
}

void VLRemoteService::getVaultlineConnectionWithCompletionHandler(ConnectionCompletion completion) {
  auto connection = VLRemoteServiceConnection::make(session_, token_);
  VLBackgroundQueue::shared().async(
      [completion = std::move(completion), connection] { completion(connection, nullptr); });
}
