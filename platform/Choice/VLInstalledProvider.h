// VLInstalledProvider: a provider brought up by a VLProviderChoice: the platform installed as
// the process's current one, and the provider it plays. A plain value; holding it keeps the
// platform alive.
#pragma once

#include <memory>

#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"

struct VLInstalledProvider {
  // The platform behind the provider (the simulated service, or the protocol host).
  std::shared_ptr<VLPlatform> platform;
  // The provider to validate.
  std::shared_ptr<VLProvider> provider;
};
