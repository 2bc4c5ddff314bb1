#include "Remote/VLRemoteCollectionModel.h"

#include <map>
#include <set>

namespace {

std::vector<std::string> identifiers(const std::vector<VLItemRef>& items) {
  std::vector<std::string> list;
  list.reserve(items.size());
  for (const auto& item : items) list.push_back(item->itemIdentifier());
  return list;
}

}  // namespace

void VLRemoteCollectionModel::setDescriptors(std::vector<VLSortDescriptor> descriptors) {
  ordering_ = VLItemOrdering(std::move(descriptors));
  ordering_.sort(items_);
}

void VLRemoteCollectionModel::reload(std::vector<VLItemRef> items) {
  std::map<std::string, VLItemRef> byIdentifier;
  for (auto& item : items) byIdentifier[item->itemIdentifier()] = std::move(item);
  items_.clear();
  for (auto& [identifier, item] : byIdentifier) items_.push_back(std::move(item));
  ordering_.sort(items_);
}

VLCollectionChanges VLRemoteCollectionModel::apply(const std::vector<std::string>& deleted,
                                                   const std::vector<VLItemRef>& updated) {
  std::vector<std::string> before = identifiers(items_);
  std::map<std::string, VLItemRef> members;
  for (const auto& item : items_) members[item->itemIdentifier()] = item;
  for (const auto& identifier : deleted) members.erase(identifier);
  std::set<std::string> touched;
  for (const auto& item : updated) {
    members[item->itemIdentifier()] = item;
    touched.insert(item->itemIdentifier());
  }
  items_.clear();
  for (auto& [identifier, item] : members) items_.push_back(item);
  ordering_.sort(items_);
  std::vector<std::string> after = identifiers(items_);
  return VLCollectionChanges::between(before, after,
                                      [&](size_t, size_t row) { return touched.count(after[row]) != 0; });
}
