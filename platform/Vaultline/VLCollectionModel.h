// VLCollectionModel: one scope's members in one ordering, kept from item-level changes (this
// item is new or different, that identifier left), and the index-path changes each batch
// makes. The host's VLRemoteFeed keeps one per ordering its collections ask for and shares
// its snapshots with all of them; a simulated collection keeps one for what its delegate has
// seen. A plain value; its owner serialises access.
//
// Cost: a reported batch of k changes to n members costs O(k log n) comparisons: each changed
// member is found and put back by binary search, and the index-path changes come from those
// rows, without a pass over the whole list (moves cost what they report: the members between
// a moved one's old and new place). The new snapshot is one copy of the list's pointers. A
// batch that touches more than a quarter of the members is sorted afresh and diffed whole.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Vaultline/VLCollectionChanges.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLItemOrdering.h"
#include "Vaultline/VLSortDescriptor.h"

class VLCollectionModel {
 public:
  // The members in order, as one immutable list that callers may keep and share.
  using Snapshot = std::shared_ptr<const std::vector<VLItemRef>>;

  // An empty model in the order of `descriptors`.
  explicit VLCollectionModel(std::vector<VLSortDescriptor> descriptors = {});

  // Orders the members by `descriptors` from now on (re-sorting the current ones).
  void setDescriptors(std::vector<VLSortDescriptor> descriptors);
  // Replaces every member (a first or new enumeration); of repeated identifiers the last wins.
  void reload(std::vector<VLItemRef> items);
  // Replaces every member with `items`, which the caller has already put in this model's
  // order, free of repeated identifiers: nothing is sorted.
  void reloadOrdered(std::vector<VLItemRef> items);
  // Applies one reported batch: removes the `deleted` identifiers (those that are members),
  // then adds each `updated` item or replaces the member with its identifier. Returns the
  // changes from the previous ordering to the new one; every `updated` item that was a
  // member already counts as updated.
  VLCollectionChanges apply(const std::vector<std::string>& deleted, const std::vector<VLItemRef>& updated);

  // The members in order.
  const std::vector<VLItemRef>& items() const { return *items_; }
  // The members in order, shared: a later change makes a new list and leaves this one be.
  Snapshot snapshot() const { return items_; }

 private:
  // Returns the row of `member`, which must be one (binary search: the ordering is total).
  size_t rowOf(const VLItemRef& member, const std::vector<VLItemRef>& list) const;
  // The members a batch touched, by identifier, each with its item before the batch (null when
  // it was no member).
  using Touched = std::unordered_map<std::string_view, VLItemRef>;
  // The index-path changes from `old` to `now` (the new list), which differ only in `touched`.
  VLCollectionChanges changesOf(const Touched& touched, const std::vector<VLItemRef>& old,
                                const std::vector<VLItemRef>& now) const;
  // Rebuilds the ordered list from members_ (when a batch changes most of it).
  std::vector<VLItemRef> sortedMembers() const;

  VLItemOrdering ordering_;
  Snapshot items_;
  std::unordered_map<std::string, VLItemRef> members_;  // the same items, by identifier
};
