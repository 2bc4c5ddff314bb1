// VLVaultlineService: a service record, one entry of the services a provider offers for an
// item URL (see VLFileManager::getVaultlineServicesForItemAtURL).
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Core/VLError.h"
#include "Core/VLObject.h"
#include "Vaultline/VLServiceConnection.h"

class VLVaultlineService : public VLObject {
 public:
  using ConnectionCompletion = std::function<void(std::shared_ptr<VLServiceConnection> connection, VLErrorRef error)>;

  // Returns the service's name, the key it is listed under.
  virtual std::string name() const = 0;
  // Opens a new connection to the service; the completion runs later on a service thread.
  virtual void getVaultlineConnectionWithCompletionHandler(ConnectionCompletion completion) = 0;
};
