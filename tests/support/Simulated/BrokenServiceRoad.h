// A platform that plays a simulated provider service but breaks one step of the road from the
// provider's root to its validation service: failures the service itself never shows.
// Everything it does not break goes to the service; every failure it makes says "broken".
#pragma once

#include <memory>

#include "Simulated/Simulated.h"

enum class VLBrokenStep {
  RootURL,            // the root item has no URL
  Services,           // listing the services at the root's URL fails
  RefusedConnection,  // the validation service refuses the connection
  FailingConnection,  // the connection comes invalidated: every call goes to the error handler
};

// Installs a platform that plays `service` with `step` broken.
void vl_installWithBrokenStep(const std::shared_ptr<VLSimulatedProviderService>& service, VLBrokenStep step);
