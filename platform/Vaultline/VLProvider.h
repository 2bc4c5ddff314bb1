// VLProvider: one registered storage provider, the object under validation.
//
// The record fields are fixed at creation. The four validation properties are set by the
// provider's validation service (through eligibility) or directly; each reads a default
// until it is first set. They may be read and written from any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Core/VLObject.h"
#include "Dispatch/VLGuarded.h"

class VLProvider : public VLObject {
 public:
  // The provider's domain record; only its identifier is read by the library.
  struct Domain {
    std::optional<std::string> identifier;
    std::string displayName;
  };

  static std::shared_ptr<VLProvider> make(std::string identifier, std::string providerIdentifier,
                                          std::optional<Domain> domain, std::string providerID);

  const std::string& identifier() const { return identifier_; }
  const std::string& providerIdentifier() const { return providerIdentifier_; }
  const std::optional<Domain>& domain() const { return domain_; }
  const std::string& providerID() const { return providerID_; }

  // The container in which validations create their items; the root container until set.
  std::string alternateRootContainer() const;
  void setAlternateRootContainer(std::string identifier);
  // Whether the provider syncs with a server; true until set.
  bool isSyncingProvider() const;
  void setSyncingProvider(bool syncing);
  // Whether the provider may be validated; false until set.
  bool isEligibleForValidation() const;
  void setEligibleForValidation(bool eligible);
  // Whether the provider lacks a working set; true until set (an unknown provider is
  // treated as having none).
  bool hasNoWorkingSet() const;
  void setHasNoWorkingSet(bool none);

  // Returns "<VLProvider identifier>".
  std::string description() const override;

 private:
  VLProvider(std::string identifier, std::string providerIdentifier, std::optional<Domain> domain,
             std::string providerID);

  const std::string identifier_;
  const std::string providerIdentifier_;
  const std::optional<Domain> domain_;
  const std::string providerID_;

  // Set by whoever asks the provider's validation service, read by every case's thread.
  VLGuarded<std::optional<std::string>> alternateRootContainer_;
  VLGuarded<std::optional<bool>> syncingProvider_;
  VLGuarded<std::optional<bool>> eligibleForValidation_;
  VLGuarded<std::optional<bool>> hasNoWorkingSet_;
};
