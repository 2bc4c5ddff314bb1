#include "Vaultline/VLItemManager.h"

#include "Vaultline/VLPlatform.h"

std::shared_ptr<VLItemManager> VLItemManager::defaultManager() { return VLPlatform::current()->defaultItemManager(); }
