// VLItemID: identifies one item: provider, domain and item identifier. Immutable.
//
// Three initialisers exist on different platform revisions; each throws VLException when
// the current platform does not offer it (see VLPlatformCapability), so callers ask
// VLItemID::instancesRespondTo() first.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Core/VLObject.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"

class VLItemID : public VLObject {
 public:
  // initWithProviderDomainID:itemIdentifier: (newest revisions).
  static std::shared_ptr<const VLItemID> makeWithProviderDomainID(const std::string& providerDomainID,
                                                                  const std::string& itemIdentifier);
  // initWithProviderIdentifier:domainIdentifier:itemIdentifier:.
  static std::shared_ptr<const VLItemID> makeWithProviderIdentifier(const std::string& providerIdentifier,
                                                                    const std::optional<std::string>& domainIdentifier,
                                                                    const std::string& itemIdentifier);
  // initWithProviderID:domainIdentifier:itemIdentifier: (the older form).
  static std::shared_ptr<const VLItemID> makeWithProviderID(const std::string& providerID,
                                                            const std::optional<std::string>& domainIdentifier,
                                                            const std::string& itemIdentifier);

  // Makes the record of an item ID that arrived from elsewhere (a provider process), without
  // asking the platform which initialisers it offers.
  static std::shared_ptr<const VLItemID> makeReceived(std::string provider, std::optional<std::string> domainIdentifier,
                                                      std::string itemIdentifier);

  // Returns whether the current platform offers the initialiser named by `capability`.
  static bool instancesRespondTo(VLPlatformCapability capability);
  // Returns the ID of item `itemIdentifier` of `provider`, made with the first initialiser the
  // platform offers: the provider-domain ID (the provider's identifier), then the provider
  // identifier without a domain, then the older provider ID with the domain's identifier.
  static std::shared_ptr<const VLItemID> makeForProvider(const VLProvider& provider, const std::string& itemIdentifier);

  // The provider part: a provider-domain ID, a provider identifier or a provider ID,
  // whichever the initialiser was given.
  const std::string& providerPart() const { return provider_; }
  const std::optional<std::string>& domainIdentifier() const { return domainIdentifier_; }
  const std::string& itemIdentifier() const { return itemIdentifier_; }

  // Returns "<VLItemID provider/domain/item>".
  std::string description() const override;
  bool isEqual(const VLObject& other) const override;

 private:
  VLItemID(std::string provider, std::optional<std::string> domain, std::string item)
      : provider_(std::move(provider)), domainIdentifier_(std::move(domain)), itemIdentifier_(std::move(item)) {}
  std::string provider_;
  std::optional<std::string> domainIdentifier_;
  std::string itemIdentifier_;
};
