#include "Vaultline/VLServiceConnection.h"

void VLServiceConnection::setRemoteObjectInterface(const std::string& protocolName) {
  std::lock_guard lock(mutex_);
  remoteInterface_ = protocolName;
}

std::string VLServiceConnection::remoteObjectInterface() const {
  std::lock_guard lock(mutex_);
  return remoteInterface_;
}

void VLServiceConnection::resume() {
  std::lock_guard lock(mutex_);
  resumed_ = true;
}

void VLServiceConnection::invalidate() {
  std::lock_guard lock(mutex_);
  invalidated_ = true;
}

std::string VLServiceConnection::problemCarryingCalls(const std::string& protocolName) const {
  std::lock_guard lock(mutex_);
  if (invalidated_) return "The connection to the validation service was invalidated.";
  if (!resumed_) return "The connection to the validation service was not resumed.";
  if (remoteInterface_ != protocolName) return "The connection's remote interface is not " + protocolName + ".";
  return "";
}
