// VLPlaceholderValidation: checks the life of a synced file's local copy: an imported file
// is uploaded; told through the provider's validation service to evict it, the provider
// reports it no longer downloaded (checked in strict mode only); and the platform can then
// hand out a placeholder for it while its content is gone from disk.
//
// One validation, no variants. It applies to syncing providers only and works in the
// provider's validation root (its alternateRootContainer). It runs on the background thread
// of case execution and blocks there; the suite keeps no state of its own.
#pragma once

#include <memory>
#include <vector>

#include "Validations/Validations.h"

class VLPlaceholderValidation : public VLValidationCase {
 public:
  using Validator = std::shared_ptr<VLValidator>;

  // Returns the suite's operations in listing order, for registration.
  static std::vector<VLValidationOperation> operations();

  // Imports a 512000-byte file, waits up to 60 seconds for its upload, evicts it through
  // the validation service and, in strict mode, expects it reported as not downloaded and
  // then present only as a placeholder. Inconclusive for a non-syncing provider, a slow
  // upload, or outside strict mode once the eviction has succeeded.
  void validatePlaceholderIsWritten(const Validator& validator);

 private:
  // Asks the validation service to evict `item` ("eviction on item … should finish without error").
  void evict(const Validator& validator, const VLItemRef& item);
  // Fetches `item`'s URL, creating a placeholder, and expects a placeholder without content
  // there. Returns at once; case execution collects the outcome.
  void expectPlaceholder(const Validator& validator, const VLItemRef& item);
};
