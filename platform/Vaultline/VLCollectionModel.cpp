#include "Vaultline/VLCollectionModel.h"

#include <algorithm>
#include <string_view>

namespace {

std::vector<std::string_view> identifierViews(const std::vector<VLItemRef>& items) {
  std::vector<std::string_view> list;
  list.reserve(items.size());
  for (const auto& item : items) list.push_back(item->itemIdentifier());
  return list;
}

}  // namespace

VLCollectionModel::VLCollectionModel(std::vector<VLSortDescriptor> descriptors)
    : ordering_(std::move(descriptors)), items_(std::make_shared<const std::vector<VLItemRef>>()) {}

void VLCollectionModel::setDescriptors(std::vector<VLSortDescriptor> descriptors) {
  ordering_ = VLItemOrdering(std::move(descriptors));
  items_ = std::make_shared<const std::vector<VLItemRef>>(sortedMembers());
}

void VLCollectionModel::reload(std::vector<VLItemRef> items) {
  members_.clear();
  members_.reserve(items.size());
  for (auto& item : items) members_.insert_or_assign(item->itemIdentifier(), std::move(item));
  items_ = std::make_shared<const std::vector<VLItemRef>>(sortedMembers());
}

void VLCollectionModel::reloadOrdered(std::vector<VLItemRef> items) {
  members_.clear();
  members_.reserve(items.size());
  for (const auto& item : items) members_.emplace(item->itemIdentifier(), item);
  items_ = std::make_shared<const std::vector<VLItemRef>>(std::move(items));
}

std::vector<VLItemRef> VLCollectionModel::sortedMembers() const {
  std::vector<VLItemRef> list;
  list.reserve(members_.size());
  for (const auto& [identifier, item] : members_) list.push_back(item);
  // The ordering ends with the identifier, so it is total and the hash order does not show.
  std::sort(list.begin(), list.end(),
            [this](const VLItemRef& a, const VLItemRef& b) { return ordering_.precedes(*a, *b); });
  return list;
}

size_t VLCollectionModel::rowOf(const VLItemRef& member, const std::vector<VLItemRef>& list) const {
  auto found = std::lower_bound(list.begin(), list.end(), member,
                                [this](const VLItemRef& a, const VLItemRef& b) { return ordering_.precedes(*a, *b); });
  return static_cast<size_t>(found - list.begin());
}

VLCollectionChanges VLCollectionModel::apply(const std::vector<std::string>& deleted,
                                                   const std::vector<VLItemRef>& updated) {
  Snapshot before = items_;
  const std::vector<VLItemRef>& old = *before;
  // Moving k members by binary search costs k shifts of the list; past a quarter of it one
  // sort (and one diff of the whole lists) is cheaper.
  if ((deleted.size() + updated.size()) * 4 > old.size()) {
    for (const auto& identifier : deleted) members_.erase(identifier);
    for (const auto& item : updated) members_.insert_or_assign(item->itemIdentifier(), item);
    items_ = std::make_shared<const std::vector<VLItemRef>>(sortedMembers());
    const auto& now = *items_;
    return VLCollectionChanges::between(identifierViews(old), identifierViews(now),
                                        [&](size_t from, size_t row) { return old[from] != now[row]; });
  }
  Touched touched;
  auto touch = [&](std::string_view identifier, const VLItemRef& was) { touched.try_emplace(identifier, was); };
  std::vector<VLItemRef> after = old;
  for (const auto& identifier : deleted) {
    auto member = members_.find(identifier);
    if (member == members_.end()) continue;
    touch(identifier, member->second);
    after.erase(after.begin() + static_cast<std::ptrdiff_t>(rowOf(member->second, after)));
    members_.erase(member);
  }
  for (const auto& item : updated) {
    auto [member, added] = members_.try_emplace(item->itemIdentifier(), item);
    touch(item->itemIdentifier(), added ? nullptr : member->second);
    if (!added) {
      after.erase(after.begin() + static_cast<std::ptrdiff_t>(rowOf(member->second, after)));
      member->second = item;
    }
    after.insert(after.begin() + static_cast<std::ptrdiff_t>(rowOf(item, after)), item);
  }
  items_ = std::make_shared<const std::vector<VLItemRef>>(std::move(after));
  return changesOf(touched, old, *items_);
}

VLCollectionChanges VLCollectionModel::changesOf(const Touched& touched, const std::vector<VLItemRef>& old,
                                                       const std::vector<VLItemRef>& now) const {
  // The rows of what left, what came and what changed, found by binary search.
  std::vector<size_t> gone, came, changed;
  struct Survivor {
    size_t oldRow, newRow;
  };
  std::vector<Survivor> survivors;  // the touched members that are in both lists
  for (const auto& [identifier, was] : touched) {
    auto member = members_.find(std::string(identifier));
    const VLItemRef* is = member == members_.end() ? nullptr : &member->second;
    if (was && !is) {
      gone.push_back(rowOf(was, old));
    } else if (!was && is) {
      came.push_back(rowOf(*is, now));
    } else if (was && is) {
      survivors.push_back({rowOf(was, old), rowOf(*is, now)});
      if (was != *is) changed.push_back(survivors.back().newRow);
    }
  }
  std::sort(gone.begin(), gone.end());
  std::sort(came.begin(), came.end());
  std::sort(changed.begin(), changed.end());
  VLCollectionChanges changes;
  for (size_t row : gone) changes.deleted.push_back(VLIndexPath::forRow(row));
  for (size_t row : came) changes.inserted.push_back(VLIndexPath::forRow(row));
  for (size_t row : changed) changes.updated.push_back(VLIndexPath::forRow(row));
  changes.updateKeys.resize(changed.size());

  // A survivor moved when its place among the survivors changed. Untouched members keep their
  // order, so places differ only between the old and new place of a touched survivor: only
  // those spans are compared.
  auto place = [](size_t row, const std::vector<size_t>& skipped) {
    return row - static_cast<size_t>(std::lower_bound(skipped.begin(), skipped.end(), row) - skipped.begin());
  };
  std::vector<std::pair<size_t, size_t>> spans;
  for (const auto& survivor : survivors) {
    size_t from = place(survivor.oldRow, gone), to = place(survivor.newRow, came);
    if (from != to) spans.emplace_back(std::min(from, to), std::max(from, to));
  }
  std::sort(spans.begin(), spans.end());
  // The row of the survivor at `position`, skipping the rows in `skipped`.
  auto rowAt = [](size_t position, const std::vector<size_t>& skipped) {
    size_t row = position;
    for (size_t skip : skipped) {
      if (skip > row) break;
      ++row;
    }
    return row;
  };
  size_t done = 0;  // places below this are compared
  for (auto [low, high] : spans) {
    low = std::max(low, done);
    if (low > high) continue;
    size_t oldRow = rowAt(low, gone), newRow = rowAt(low, came);
    auto nextGone = std::lower_bound(gone.begin(), gone.end(), oldRow);
    auto nextCame = std::lower_bound(came.begin(), came.end(), newRow);
    for (size_t position = low; position <= high; ++position, ++oldRow, ++newRow) {
      for (; nextGone != gone.end() && *nextGone == oldRow; ++nextGone) ++oldRow;
      for (; nextCame != came.end() && *nextCame == newRow; ++nextCame) ++newRow;
      const VLItemRef& here = now[newRow];
      if (old[oldRow] == here || old[oldRow]->itemIdentifier() == here->itemIdentifier()) continue;
      auto was = touched.find(here->itemIdentifier());
      changes.movedFrom.push_back(VLIndexPath::forRow(rowOf(was == touched.end() ? here : was->second, old)));
      changes.movedTo.push_back(VLIndexPath::forRow(newRow));
    }
    done = high + 1;
  }
  return changes;
}
