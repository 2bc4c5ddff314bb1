#include "Remote/VLRemoteCollectionModel.h"

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

VLRemoteCollectionModel::VLRemoteCollectionModel()
    : ordering_({}), items_(std::make_shared<const std::vector<VLItemRef>>()) {}

void VLRemoteCollectionModel::setDescriptors(std::vector<VLSortDescriptor> descriptors) {
  ordering_ = VLItemOrdering(std::move(descriptors));
  items_ = std::make_shared<const std::vector<VLItemRef>>(sortedMembers());
}

void VLRemoteCollectionModel::reload(std::vector<VLItemRef> items) {
  members_.clear();
  members_.reserve(items.size());
  for (auto& item : items) members_.insert_or_assign(item->itemIdentifier(), std::move(item));
  items_ = std::make_shared<const std::vector<VLItemRef>>(sortedMembers());
}

std::vector<VLItemRef> VLRemoteCollectionModel::sortedMembers() const {
  std::vector<VLItemRef> list;
  list.reserve(members_.size());
  for (const auto& [identifier, item] : members_) list.push_back(item);
  // The ordering ends with the identifier, so it is total and the hash order does not show.
  std::sort(list.begin(), list.end(),
            [this](const VLItemRef& a, const VLItemRef& b) { return ordering_.precedes(*a, *b); });
  return list;
}

size_t VLRemoteCollectionModel::rowOf(const VLItemRef& member, const std::vector<VLItemRef>& list) const {
  auto found = std::lower_bound(list.begin(), list.end(), member,
                                [this](const VLItemRef& a, const VLItemRef& b) { return ordering_.precedes(*a, *b); });
  return static_cast<size_t>(found - list.begin());
}

VLCollectionChanges VLRemoteCollectionModel::apply(const std::vector<std::string>& deleted,
                                                   const std::vector<VLItemRef>& updated) {
  Snapshot before = items_;
  std::vector<VLItemRef> after;
  // Moving k members by binary search costs k shifts of the list; past a quarter of it one
  // sort is cheaper.
  bool resort = (deleted.size() + updated.size()) * 4 > before->size();
  if (!resort) after = *before;
  for (const auto& identifier : deleted) {
    auto member = members_.find(identifier);
    if (member == members_.end()) continue;
    if (!resort) after.erase(after.begin() + static_cast<std::ptrdiff_t>(rowOf(member->second, after)));
    members_.erase(member);
  }
  for (const auto& item : updated) {
    auto [member, added] = members_.try_emplace(item->itemIdentifier(), item);
    if (!added) {
      if (!resort) after.erase(after.begin() + static_cast<std::ptrdiff_t>(rowOf(member->second, after)));
      member->second = item;
    }
    if (!resort) after.insert(after.begin() + static_cast<std::ptrdiff_t>(rowOf(item, after)), item);
  }
  if (resort) after = sortedMembers();
  items_ = std::make_shared<const std::vector<VLItemRef>>(std::move(after));
  const auto& now = *items_;
  // A reported item is always a new snapshot, so a member changed exactly when its snapshot did.
  return VLCollectionChanges::between(identifierViews(*before), identifierViews(now),
                                      [&](size_t old, size_t row) { return (*before)[old] != now[row]; });
}
