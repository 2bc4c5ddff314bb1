// Eligibility: how a runner learns whether a provider may be validated and how the provider
// wants to be treated, by asking the provider's validation service.
//
// Both functions return at once and call their callback exactly once, later, on a service
// thread; they never throw once started (failures end in the callback, with one "[ERROR]"
// line on the provider path). They may be called from any thread; the provider's four
// validation properties are safe to read while eligibility is being decided.
#pragma once

#include <functional>
#include <memory>

#include "Vaultline/VLProvider.h"
#include "Vaultline/VLRemoteObjectProxy.h"

// Reaches the validation service of `provider` through its root item and calls `callback`
// with the service's proxy, or with none after logging why. Throws VLException when no
// platform is installed.
void performWithValidationProxy(const std::shared_ptr<VLProvider>& provider,
                                std::function<void(std::shared_ptr<VLRemoteObjectProxy> proxy)> callback);

// Asks the provider's validation service whether it allows validation, applies the options
// of its answer to the provider's properties, and calls `callback` with whether the provider
// is eligible. On the host's internal builds every provider that answers is eligible, and a
// provider that can't be asked counts as eligible there and nowhere else. Throws VLException
// when no platform is installed.
void determineValidationEligibility(const std::shared_ptr<VLProvider>& provider,
                                    std::function<void(bool eligible)> callback);
