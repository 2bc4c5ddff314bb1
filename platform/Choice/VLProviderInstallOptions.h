// VLProviderInstallOptions: what a front end asks of a provider it brings up, beyond the choice
// itself. A plain value.
#pragma once

#include <string>

#include "Remote/VLRemotePlatform.h"
#include "Remote/VLRemoteSession.h"

struct VLProviderInstallOptions {
  // A file to record every protocol line of the session in (empty: none). Only kinds that
  // speak the provider protocol take it (VLProviderKind::speaksProtocol).
  std::string protocolLog;
  // Seconds the provider has to answer "initialize" (--handshake-timeout): a provider that
  // loads a large index before it answers needs more than the default.
  double handshakeTimeout = kDefaultHandshakeTimeout;
  static constexpr double kDefaultHandshakeTimeout = VLRemoteSession::kDefaultHandshakeTimeout;
  static constexpr double kLongestHandshakeTimeout = 86400;  // a day; the least is anything above 0

  // Checks `seconds` as a handshake time-out (above 0, at most kLongestHandshakeTimeout);
  // throws VLUsageError naming --handshake-timeout otherwise.
  static double checkedHandshakeTimeout(double seconds);

  // Returns the protocol platform's options for these: opens the protocol log. Throws
  // VLUsageError naming the file when it cannot be written, or the time-out when it is not
  // a positive number of seconds.
  VLRemotePlatform::Options remoteOptions() const;
};
