#include "Choice/VLProviderInstallOptions.h"

#include "Choice/VLUsageError.h"
#include "Core/VLFormat.h"

VLRemotePlatform::Options VLProviderInstallOptions::remoteOptions() const {
  VLRemotePlatform::Options options;
  options.watchWorkingSet = true;
  options.handshakeTimeout = checkedHandshakeTimeout(handshakeTimeout);
  if (protocolLog.empty()) return options;
  try {
    options.protocolLog = VLRemoteProtocolLog::open(protocolLog);
  } catch (const VLException& error) {
    throw VLUsageError(std::string("--protocol-log: ") + error.what());
  }
  return options;
}

double VLProviderInstallOptions::checkedHandshakeTimeout(double seconds) {
  // NaN fails both comparisons, so it is refused too.
  if (!(seconds > 0 && seconds <= kLongestHandshakeTimeout)) {
    throw VLUsageError(VLFormat("--handshake-timeout: expected a number of seconds above 0 and at most %g, not %g",
                                kLongestHandshakeTimeout, seconds));
  }
  return seconds;
}
