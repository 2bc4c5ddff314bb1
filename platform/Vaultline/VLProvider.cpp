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
  return alternateRootContainer_.get().value_or(KsVaultlineRootContainerItemIdentifier);
}

void VLProvider::setAlternateRootContainer(std::string identifier) {
  alternateRootContainer_.set(std::move(identifier));
}

bool VLProvider::isSyncingProvider() const { return syncingProvider_.get().value_or(true); }

void VLProvider::setSyncingProvider(bool syncing) { syncingProvider_.set(syncing); }

bool VLProvider::isEligibleForValidation() const { return eligibleForValidation_.get().value_or(false); }

void VLProvider::setEligibleForValidation(bool eligible) { eligibleForValidation_.set(eligible); }

bool VLProvider::hasNoWorkingSet() const { return hasNoWorkingSet_.get().value_or(true); }

void VLProvider::setHasNoWorkingSet(bool none) { hasNoWorkingSet_.set(none); }

std::string VLProvider::description() const { return "<VLProvider " + identifier_ + ">"; }
