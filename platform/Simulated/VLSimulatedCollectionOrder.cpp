#include "Simulated/VLSimulatedCollectionOrder.h"

#include <algorithm>
#include <unordered_set>

#include "Vaultline/VLItemOrdering.h"

std::optional<std::vector<VLSimulatedCollectionOrder::Entry>> VLSimulatedCollectionOrder::patched(
    const std::vector<Entry>& previous, const std::vector<Entry>& previousSorted, const std::vector<Entry>& current,
    const Precedes& precedes) {
  auto identifierOf = [](const Entry& entry) -> const std::string& { return entry.item->itemIdentifier(); };
  if (previous.size() != previousSorted.size()) return std::nullopt;

  // Both listings ascend by identifier: one merge finds what went, came or changed.
  std::unordered_set<const VLItem*> gone;
  std::vector<Entry> came;
  const size_t limit = 64 + current.size() / 16;  // past this, one sort is as cheap
  size_t i = 0, j = 0;
  while (i < previous.size() || j < current.size()) {
    if (came.size() > limit || gone.size() > limit) return std::nullopt;
    if (i < previous.size() && j < current.size() && previous[i].item == current[j].item &&
        previous[i].revision == current[j].revision) {
      ++i, ++j;
    } else if (j == current.size() || (i < previous.size() && identifierOf(previous[i]) < identifierOf(current[j]))) {
      gone.insert(previous[i++].item.get());
    } else if (i == previous.size() || identifierOf(current[j]) < identifierOf(previous[i])) {
      came.push_back(current[j++]);
    } else {
      gone.insert(previous[i++].item.get());
      came.push_back(current[j++]);
    }
  }

  std::vector<Entry> sorted;
  sorted.reserve(current.size());
  for (const auto& entry : previousSorted) {
    if (gone.empty() || !gone.count(entry.item.get())) sorted.push_back(entry);
  }
  for (const auto& entry : came) sorted.insert(std::upper_bound(sorted.begin(), sorted.end(), entry, precedes), entry);
  return sorted;
}

std::vector<VLSimulatedCollectionOrder::Entry> VLSimulatedCollectionOrder::sorted(
    const std::string& scope, const std::vector<VLSortDescriptor>& descriptors, const std::vector<Entry>& entries) {
  VLItemOrdering ordering(descriptors);
  auto precedes = [&](const Entry& a, const Entry& b) { return ordering.precedes(*a.item, *b.item); };
  bool increasing = std::adjacent_find(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
                      return !(a.item->itemIdentifier() < b.item->itemIdentifier());
                    }) == entries.end();
  if (entries.size() < kRememberedSize || !increasing) {
    std::vector<Entry> list = entries;
    std::stable_sort(list.begin(), list.end(), precedes);
    return list;
  }
  std::string key = scope;
  for (const auto& descriptor : descriptors) key += "\n" + descriptor.key + (descriptor.ascending ? "+" : "-");
  Ordered& last = last_[key];
  std::optional<std::vector<Entry>> list;
  if (!last.listing.empty()) list = patched(last.listing, last.sorted, entries, precedes);
  if (!list) {
    list = entries;
    std::stable_sort(list->begin(), list->end(), precedes);
  }
  last.listing = entries;
  last.sorted = *list;
  return std::move(*list);
}
