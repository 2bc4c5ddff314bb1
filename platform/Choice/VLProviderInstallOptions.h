// VLProviderInstallOptions: what a front end asks of a provider it brings up, beyond the choice
// itself. A plain value.
#pragma once

#include <string>

#include "Remote/VLRemotePlatform.h"

struct VLProviderInstallOptions {
  // A file to record every protocol line of the session in (empty: none). Only kinds that
  // speak the provider protocol take it (VLProviderKind::speaksProtocol).
  std::string protocolLog;

  // Returns the protocol platform's options for these: opens the protocol log. Throws
  // VLUsageError naming the file when it cannot be written.
  VLRemotePlatform::Options remoteOptions() const;
};
