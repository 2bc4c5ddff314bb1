#include "Vaultline/VLProvider.h"

#include "Vaultline/VLConstants.h"

VLProvider::VLProvider(std::string identifier, std::string providerIdentifier, std::optional<Domain> domain,
                       std::string providerID)
    : identifier_(std::move(identifier)),
      providerIdentifier_(std::move(providerIdentifier)),
      domain_(std::move(domain)),
      providerID_(std::move(providerID)) {}

std::shared_ptr<VLProvider> VLProvider::make(std::string identifier, std::string providerIdentifier,
                                             std::optional<Domain> domain, std::string providerID) {
  return std::shared_ptr<VLProvider>(
      new VLProvider(std::move(identifier), std::move(providerIdentifier), std::move(domain), std::move(providerID)));
}

std::string VLProvider::alternateRootContainer() const {
  std::lock_guard lock(mutex_);
  return alternateRootContainer_.value_or(KsVaultlineRootContainerItemIdentifier);
}

void VLProvider::setAlternateRootContainer(std::string identifier) {
  std::lock_guard lock(mutex_);
  alternateRootContainer_ = std::move(identifier);
}

bool VLProvider::isSyncingProvider() const {
  std::lock_guard lock(mutex_);
  return syncingProvider_.value_or(true);
}

void VLProvider::setSyncingProvider(bool syncing) {
  std::lock_guard lock(mutex_);
  syncingProvider_ = syncing;
}

bool VLProvider::isEligibleForValidation() const {
  std::lock_guard lock(mutex_);
  return eligibleForValidation_.value_or(false);
}

void VLProvider::setEligibleForValidation(bool eligible) {
  std::lock_guard lock(mutex_);
  eligibleForValidation_ = eligible;
}

bool VLProvider::hasNoWorkingSet() const {
  std::lock_guard lock(mutex_);
  return hasNoWorkingSet_.value_or(true);
}

void VLProvider::setHasNoWorkingSet(bool none) {
  std::lock_guard lock(mutex_);
  hasNoWorkingSet_ = none;
}

std::string VLProvider::description() const { return "<VLProvider " + identifier_ + ">"; }
