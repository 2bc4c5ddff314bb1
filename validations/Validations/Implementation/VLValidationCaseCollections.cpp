// Observing containers as event streams, and registering what tear-down removes.
#include "Core/VLException.h"
#include "Dispatch/VLDispatchQueue.h"
#include "Validations/VLEventGeneratingDelegate.h"
#include "Validations/VLEventStream.h"
#include "Validations/VLValidationCase.h"
#include "Validations/VLValidationLoggingItemManager.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLDeleteOperation.h"
#include "Vaultline/VLItemID.h"
#include "Vaultline/VLPlatform.h"

namespace {

std::shared_ptr<VLValidator> requireValidator(const VLValidationCase& validationCase, const char* operation) {
  auto validator = validationCase.validator();
  if (!validator) throw VLException(std::string(operation) + " needs a running case (no validator is set)");
  return validator;
}

std::shared_ptr<VLProvider> requireProvider(const VLValidationCase& validationCase, const char* operation) {
  auto provider = validationCase.provider();
  if (!provider) throw VLException(std::string(operation) + " needs a case bound to a provider");
  return provider;
}

std::shared_ptr<const VLItemID> containerItemID(const VLProvider& provider, const std::string& identifier) {
  std::optional<std::string> domain = KsVaultlineDomainDefaultIdentifier;
  if (provider.domain() && provider.domain()->identifier) domain = provider.domain()->identifier;
  if (VLItemID::instancesRespondTo(VLPlatformCapability::ItemIDWithProviderIdentifier)) {
    return VLItemID::makeWithProviderIdentifier(provider.providerIdentifier(), domain, identifier);
  }
  return VLItemID::makeWithProviderID(provider.providerID(), domain, identifier);
}

}  // namespace

std::shared_ptr<VLEventStream> VLValidationCase::newCollectionStreamWithIdentifier(const std::string& identifier) {
  return streamForContainer(identifier, "events for " + identifier);
}

std::shared_ptr<VLEventStream> VLValidationCase::streamForContainer(const std::string& identifier,
                                                                    const std::string& description) {
  auto validator = requireValidator(*this, "newCollectionStreamWithIdentifier");
  auto provider = requireProvider(*this, "newCollectionStreamWithIdentifier");
  auto itemID = containerItemID(*provider, identifier);
  auto manager = validator->itemManager();
  const std::vector<VLSortDescriptor> newestFirst{vl_sortDescriptorByModifiedDateDescending()};

  std::shared_ptr<VLItemCollection> collection;
  if (VLPlatform::current()->offers(VLPlatformCapability::NewCollectionWithItemID)) {
    collection = manager->newCollectionWithItemID(itemID);
    if (!collection) throw VLException("the item manager returned no collection for " + identifier);
    collection->reorderItemsWithSortDescriptors(newestFirst);
  } else {
    collection = manager->collectionWithIdentifier(itemID->itemIdentifier(), itemID->domainIdentifier(),
                                                   itemID->providerPart(), {});
    if (!collection) throw VLException("the item manager returned no collection for " + identifier);
    collection->workingQueue()->sync([&] { collection->reorderItemsWithSortDescriptors(newestFirst); });
  }

  auto stream = observe(collection, description);
  validator->registerIdentifiers({identifier});
  return stream;
}

std::shared_ptr<VLEventStream> VLValidationCase::newRootCollectionStream(const std::shared_ptr<VLValidator>&) {
  auto provider = requireProvider(*this, "newRootCollectionStream");
  return streamForContainer(provider->alternateRootContainer(), "root collection events");
}

std::shared_ptr<VLEventStream> VLValidationCase::newWorkingSetCollectionStream() {
  auto validator = requireValidator(*this, "newWorkingSetCollectionStream");
  auto provider = requireProvider(*this, "newWorkingSetCollectionStream");
  if (provider->hasNoWorkingSet()) {
    // Without a working set, the provider's items in the search index stand in for it.
    auto collection = validator->itemManager()->newCollectionForProvider(provider->providerID());
    if (!collection)
      throw VLException("the item manager returned no collection for provider " + provider->providerID());
    auto stream = observe(collection, "glimmer events");
    validator->registerIdentifiers({"glimmer", KsVaultlineWorkingSetContainerItemIdentifier});
    return stream;
  }
  auto stream = streamForContainer(KsVaultlineWorkingSetContainerItemIdentifier, "working set events");
  validator->registerIdentifiers({"working set", KsVaultlineWorkingSetContainerItemIdentifier});
  return stream;
}

std::shared_ptr<VLEventStream> VLValidationCase::createWorkingSetCollectionStream() {
  return newWorkingSetCollectionStream();
}

std::shared_ptr<VLEventStream> VLValidationCase::_addCollection(const std::shared_ptr<VLItemCollection>& collection) {
  return observe(collection, "");
}

std::shared_ptr<VLEventStream> VLValidationCase::observe(const std::shared_ptr<VLItemCollection>& collection,
                                                         const std::string& description) {
  if (!collection) throw VLException("_addCollection: no collection given");
  auto observer = VLEventGeneratingDelegate::make();
  auto stream = observer->stream();
  if (!description.empty()) stream->setStreamDescription(description);
  if (auto validator = this->validator(); validator && validator->isTracing()) {
    const uint64_t streamID = validator->nextTraceID();
    validator->trace(VLTraceRecord(VLTraceKind::Stream).set("streamID", streamID).set("stream", description));
    std::weak_ptr<VLValidator> weak = validator;
    stream->setTraceSink(streamID, [weak](VLTraceRecord record) {
      if (auto validator = weak.lock()) validator->trace(std::move(record));
    });
  }
  std::weak_ptr<VLItemCollection> source = collection;
  stream->setSilenceNote([source] {
    auto collection = source.lock();
    return collection ? collection->silenceNote() : std::string();
  });
  collections_.push_back(collection);
  delegates_.push_back(observer);
  auto queue = VLDispatchQueue::make("collection-queue");
  collection->setWorkingQueue(queue);
  collection->setDelegate(observer);
  // On the working queue, so that starting never overlaps a callback.
  queue->sync([&] { collection->startObserving(); });
  return stream;
}

void VLValidationCase::addCleanupOperation(std::shared_ptr<VLActionOperation> action) {
  if (!action) throw VLException("addCleanupOperation: no action given");
  cleanupOperations_.push_back(std::move(action));
}

void VLValidationCase::registerItemToCleanup(const VLItemRef& item) {
  if (!item) return;
  if (auto validator = this->validator()) validator->registerIdentifiers({item->displayName(), item->itemIdentifier()});
  addCleanupOperation(VLDeleteOperation::make({item}));
}
