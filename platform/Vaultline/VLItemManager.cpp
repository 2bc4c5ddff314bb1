#include "Vaultline/VLItemManager.h"

#include "Core/VLException.h"
#include "Vaultline/VLFetchItemOperation.h"
#include "Vaultline/VLPlatform.h"

std::shared_ptr<VLItemManager> VLItemManager::defaultManager() { return VLPlatform::current()->defaultItemManager(); }

void VLItemManager::fetchItem(const std::string& identifier, const std::shared_ptr<VLProvider>& provider,
                              ItemCompletion completion) {
  if (!provider) throw VLException("fetchItem: no provider given");
  if (!completion) throw VLException("fetchItem: no completion given");
  auto itemID = VLItemID::makeForProvider(*provider, identifier);
  if (VLFetchItemOperation::classExists()) {
    auto operation = VLFetchItemOperation::make(itemID);
    operation->setFetchCompletionBlock(std::move(completion));
    scheduleAction(operation);
    return;
  }
  defaultManager()->fetchItemForItemID(itemID, std::move(completion));
}
