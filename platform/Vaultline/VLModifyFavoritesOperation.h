// VLModifyFavoritesOperation: gives each item its favourite rank (one rank per item).
#pragma once

#include <cstdint>

#include "Vaultline/VLActionOperation.h"

class VLModifyFavoritesOperation : public VLActionOperation {
 public:
  static std::shared_ptr<VLModifyFavoritesOperation> make(std::vector<VLItemRef> itemsToFavorite,
                                                          std::vector<int64_t> favoriteRanks);

  const std::vector<VLItemRef>& itemsToFavorite() const { return items_; }
  const std::vector<int64_t>& favoriteRanks() const { return ranks_; }

 protected:
  std::string argumentsDescription() const override;

 private:
  VLModifyFavoritesOperation(std::vector<VLItemRef> items, std::vector<int64_t> ranks)
      : items_(std::move(items)), ranks_(std::move(ranks)) {}
  const std::vector<VLItemRef> items_;
  const std::vector<int64_t> ranks_;
};
