// The shared road from an item to its provider's validation service: the item's URL, the
// services offered at that URL, the validation service's connection, its proxy. Private to
// the harness; users go through performWithValidationProxy() or
// VLValidationCase::fetchValidationHelperForItem().
#pragma once

#include <functional>
#include <memory>

#include "Core/VLError.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLRemoteObjectProxy.h"

// The step at which reaching the service failed.
enum class VLValidationServiceFailure { None, URL, Services, MissingService, Connection };

using VLValidationServiceReply = std::function<void(std::shared_ptr<VLRemoteObjectProxy> proxy, VLErrorRef error,
                                                    VLValidationServiceFailure failure)>;

// Reaches the validation service of the provider holding `item` and calls `reply` once, on a
// service thread: with the proxy of a resumed connection, or with no proxy, the step that
// failed and that step's error (none for a missing service).
void vl_reachValidationService(const VLItemRef& item, VLValidationServiceReply reply);
