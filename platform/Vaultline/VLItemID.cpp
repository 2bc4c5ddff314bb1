#include "Vaultline/VLItemID.h"

#include "Core/VLException.h"

namespace {
void require(VLPlatformCapability capability, const char* name) {
  if (!VLItemID::instancesRespondTo(capability)) {
    throw VLException(std::string("VLItemID does not respond to ") + name + " on this platform revision");
  }
}
}  // namespace

bool VLItemID::instancesRespondTo(VLPlatformCapability capability) { return VLPlatform::current()->offers(capability); }

std::shared_ptr<const VLItemID> VLItemID::makeWithProviderDomainID(const std::string& providerDomainID,
                                                                   const std::string& itemIdentifier) {
  require(VLPlatformCapability::ItemIDWithProviderDomainID, "initWithProviderDomainID:itemIdentifier:");
  auto slash = providerDomainID.find('/');
  std::optional<std::string> domain;
  if (slash != std::string::npos) domain = providerDomainID.substr(slash + 1);
  return std::shared_ptr<const VLItemID>(new VLItemID(providerDomainID.substr(0, slash), domain, itemIdentifier));
}

std::shared_ptr<const VLItemID> VLItemID::makeWithProviderIdentifier(const std::string& providerIdentifier,
                                                                     const std::optional<std::string>& domainIdentifier,
                                                                     const std::string& itemIdentifier) {
  require(VLPlatformCapability::ItemIDWithProviderIdentifier,
          "initWithProviderIdentifier:domainIdentifier:itemIdentifier:");
  return std::shared_ptr<const VLItemID>(new VLItemID(providerIdentifier, domainIdentifier, itemIdentifier));
}

std::shared_ptr<const VLItemID> VLItemID::makeWithProviderID(const std::string& providerID,
                                                             const std::optional<std::string>& domainIdentifier,
                                                             const std::string& itemIdentifier) {
  require(VLPlatformCapability::ItemIDWithProviderID, "initWithProviderID:domainIdentifier:itemIdentifier:");
  return std::shared_ptr<const VLItemID>(new VLItemID(providerID, domainIdentifier, itemIdentifier));
}

std::shared_ptr<const VLItemID> VLItemID::makeForProvider(const VLProvider& provider,
                                                          const std::string& itemIdentifier) {
  if (instancesRespondTo(VLPlatformCapability::ItemIDWithProviderDomainID)) {
    return makeWithProviderDomainID(provider.identifier(), itemIdentifier);
  }
  if (instancesRespondTo(VLPlatformCapability::ItemIDWithProviderIdentifier)) {
    return makeWithProviderIdentifier(provider.providerIdentifier(), std::nullopt, itemIdentifier);
  }
  std::optional<std::string> domain = provider.domain() ? provider.domain()->identifier : std::nullopt;
  return makeWithProviderID(provider.providerIdentifier(), domain, itemIdentifier);
}

std::shared_ptr<const VLItemID> VLItemID::makeReceived(std::string provider,
                                                       std::optional<std::string> domainIdentifier,
                                                       std::string itemIdentifier) {
  return std::shared_ptr<const VLItemID>(
      new VLItemID(std::move(provider), std::move(domainIdentifier), std::move(itemIdentifier)));
}

std::string VLItemID::description() const {
  return "<VLItemID " + provider_ + "/" + domainIdentifier_.value_or("-") + "/" + itemIdentifier_ + ">";
}

bool VLItemID::isEqual(const VLObject& other) const {
  auto id = dynamic_cast<const VLItemID*>(&other);
  return id && id->provider_ == provider_ && id->domainIdentifier_ == domainIdentifier_ &&
         id->itemIdentifier_ == itemIdentifier_;
}
