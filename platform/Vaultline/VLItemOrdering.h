// VLItemOrdering: the total order in which a collection lists its items: by the sort
// descriptors in turn, then by filename without regard to letter case, then by identifier.
//
// Values of one key compare as dates, numbers or (case-insensitive) text; an item that
// lacks the value counts as greater than one that has it. Immutable; safe from any thread.
#pragma once

#include <vector>

#include "Vaultline/VLItem.h"
#include "Vaultline/VLSortDescriptor.h"

class VLItemOrdering {
 public:
  explicit VLItemOrdering(std::vector<VLSortDescriptor> descriptors);

  // Returns whether `a` comes before `b`.
  bool precedes(const VLItem& a, const VLItem& b) const;
  // Sorts `items` (stable) into this order.
  void sort(std::vector<VLItemRef>& items) const;

 private:
  std::vector<VLSortDescriptor> descriptors_;
  std::vector<VLItem::KeyReader> readers_;  // one per descriptor, resolved once
};
