// VLSortDescriptor: an ordering of a collection's items by one attribute key.
#pragma once

#include <string>

struct VLSortDescriptor {
  std::string key;  // an item attribute key, e.g. "contentModificationDate"
  bool ascending = true;

  bool operator==(const VLSortDescriptor& other) const = default;
};

// Returns the ordering by content modification date, newest first.
inline VLSortDescriptor vl_sortDescriptorByModifiedDateDescending() {
  return VLSortDescriptor{"contentModificationDate", false};
}
