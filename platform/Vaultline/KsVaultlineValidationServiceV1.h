// The validation service: an extra service that a provider offers next to its file
// services, through which a validation learns how the provider wants to be treated and
// asks it to do what ordinary actions cannot force. Every call is asynchronous and replies
// once, on a service thread.
#pragma once

#include <functional>
#include <string>

#include "Core/VLError.h"
#include "Core/VLValue.h"

// The name under which the validation service is listed among a provider's services.
extern const std::string& KsVaultlineValidationServiceV1Name;
// The protocol name to set as a connection's remote interface.
extern const std::string& KsVaultlineValidationServiceV1ProtocolName;
// Option keys of the validation_allowValidation reply.
extern const std::string& KsVaultlineValidationOptionAlternateRootContainer;  // an item identifier
extern const std::string& KsVaultlineValidationOptionIsSyncingProvider;       // a boolean number
extern const std::string& VLValidationOptionHasNoWorkingSet;                  // a boolean number

class KsVaultlineValidationServiceV1 {
 public:
  using AllowReply = std::function<void(bool allowed, const VLValue::Dictionary& options)>;
  using ErrorReply = std::function<void(VLErrorRef error)>;

  virtual ~KsVaultlineValidationServiceV1() = default;

  // Replies whether the provider allows validation, with its options (possibly empty).
  virtual void validation_allowValidation(AllowReply reply) = 0;
  // Evicts the local copy of the document this service was reached through.
  virtual void validation_evictDocumentWithCompletionHandler(ErrorReply reply) = 0;
  // Shares the document this service was reached through.
  virtual void validation_shareDocumentWithCompletionHandler(ErrorReply reply) = 0;
};
