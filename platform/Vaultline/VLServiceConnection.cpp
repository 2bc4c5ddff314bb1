#include "Vaultline/VLServiceConnection.h"

void VLServiceConnection::setRemoteObjectInterface(const std::string& protocolName) {
  std::lock_guard lock(mutex_);
  remoteInterface_ = protocolName;
}

std::string VLServiceConnection::remoteObjectInterface() const {
  std::lock_guard lock(mutex_);
  return remoteInterface_;
}
