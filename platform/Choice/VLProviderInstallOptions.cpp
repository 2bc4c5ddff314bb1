#include "Choice/VLProviderInstallOptions.h"

#include "Choice/VLUsageError.h"

VLRemotePlatform::Options VLProviderInstallOptions::remoteOptions() const {
  VLRemotePlatform::Options options;
  options.watchWorkingSet = true;
  if (protocolLog.empty()) return options;
  try {
    options.protocolLog = VLRemoteProtocolLog::open(protocolLog);
  } catch (const VLException& error) {
    throw VLUsageError(std::string("--protocol-log: ") + error.what());
  }
  return options;
}
