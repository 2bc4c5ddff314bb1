// VLItemOrdering: the total order in which a collection lists its items: by the sort
// descriptors in turn, then by filename without regard to letter case, then by identifier.
//
// Values of one key compare as dates, numbers or (case-insensitive) text; an item that
// lacks the value counts as greater than one that has it. Immutable; safe from any thread.
#pragma once

#include <optional>
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
  using DateMember = std::optional<VLDate> VLItemAttributes::*;

  std::vector<VLSortDescriptor> descriptors_;
  std::vector<VLItem::KeyReader> readers_;  // one per descriptor, resolved once
  // One per descriptor: the date attribute it reads, which is compared in place (the common
  // orderings are by date, and a sort of 100,000 items would make millions of values); null
  // for the other keys, which go through their reader.
  std::vector<DateMember> dates_;
};
