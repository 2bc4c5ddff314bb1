#include "Vaultline/VLModifyFavoritesOperation.h"

std::shared_ptr<VLModifyFavoritesOperation> VLModifyFavoritesOperation::make(std::vector<VLItemRef> itemsToFavorite,
                                                                             std::vector<int64_t> favoriteRanks) {
  return std::shared_ptr<VLModifyFavoritesOperation>(
      new VLModifyFavoritesOperation(std::move(itemsToFavorite), std::move(favoriteRanks)));
}

std::string VLModifyFavoritesOperation::argumentsDescription() const {
  std::string ranks;
  for (auto rank : ranks_) ranks += (ranks.empty() ? "" : ", ") + std::to_string(rank);
  return "items: " + describeItems(items_) + ", ranks: [" + ranks + "]";
}
