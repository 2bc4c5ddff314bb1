#include "Vaultline/VLItemOrdering.h"

#include <algorithm>
#include <cctype>

namespace {

std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// Orders two attribute values of one key: dates, numbers and strings by value; absent last.
int compareValues(const VLValue& a, const VLValue& b) {
  if (a.isNone() || b.isNone()) return a.isNone() == b.isNone() ? 0 : (a.isNone() ? 1 : -1);
  if (a.date() && b.date()) return *a.date() < *b.date() ? -1 : (*b.date() < *a.date() ? 1 : 0);
  if (a.isNumber() && b.isNumber()) {
    return a.doubleValue() < b.doubleValue() ? -1 : (b.doubleValue() < a.doubleValue() ? 1 : 0);
  }
  std::string x = lowercase(a.description()), y = lowercase(b.description());
  return x < y ? -1 : (y < x ? 1 : 0);
}

}  // namespace

bool VLItemOrdering::precedes(const VLItem& a, const VLItem& b) const {
  for (const auto& descriptor : descriptors_) {
    int order = compareValues(a.valueForKey(descriptor.key), b.valueForKey(descriptor.key));
    if (order != 0) return descriptor.ascending ? order < 0 : order > 0;
  }
  // Ties fall back to the name, then the identifier, so that every ordering is total.
  int byName = compareValues(a.filename(), b.filename());
  if (byName != 0) return byName < 0;
  return a.itemIdentifier() < b.itemIdentifier();
}

void VLItemOrdering::sort(std::vector<VLItemRef>& items) const {
  std::stable_sort(items.begin(), items.end(),
                   [this](const VLItemRef& a, const VLItemRef& b) { return precedes(*a, *b); });
}
