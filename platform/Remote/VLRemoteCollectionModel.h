// VLRemoteCollectionModel: the host's copy of one collection's members, kept from the
// item-level changes a provider reports, in the order the library asked for, and the
// index-path changes each report makes. A plain value; its owner serialises access.
#pragma once

#include <string>
#include <vector>

#include "Vaultline/VLCollectionChanges.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLItemOrdering.h"
#include "Vaultline/VLSortDescriptor.h"

class VLRemoteCollectionModel {
 public:
  VLRemoteCollectionModel() : ordering_({}) {}

  // Orders the members by `descriptors` from now on (re-sorting the current ones).
  void setDescriptors(std::vector<VLSortDescriptor> descriptors);
  // Replaces every member (a first or new enumeration); of repeated identifiers the last wins.
  void reload(std::vector<VLItemRef> items);
  // Applies one reported batch: removes the `deleted` identifiers (those that are members),
  // then adds each `updated` item or replaces the member with its identifier. Returns the
  // changes from the previous ordering to the new one; every `updated` item that was a
  // member already counts as updated.
  VLCollectionChanges apply(const std::vector<std::string>& deleted, const std::vector<VLItemRef>& updated);

  // The members in order.
  const std::vector<VLItemRef>& items() const { return items_; }

 private:
  VLItemOrdering ordering_;
  std::vector<VLItemRef> items_;
};
