#include "Vaultline/VLItemOrdering.h"

#include <algorithm>

namespace {

// Folds ASCII capitals only, as tolower() does in the "C" locale this library runs in, without
// its call per byte (a sort of 100,000 names makes millions of them).
unsigned char foldCase(char c) {
  auto byte = static_cast<unsigned char>(c);
  return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + ('a' - 'A')) : byte;
}

// Compares two texts as their lower-case forms would compare, without making them.
int compareIgnoringCase(const std::string& x, const std::string& y) {
  size_t common = std::min(x.size(), y.size());
  for (size_t i = 0; i < common; ++i) {
    unsigned char a = foldCase(x[i]), b = foldCase(y[i]);
    if (a != b) return a < b ? -1 : 1;
  }
  return x.size() == y.size() ? 0 : (x.size() < y.size() ? -1 : 1);
}

// Orders two attribute values of one key: dates, numbers and strings by value; absent last.
int compareValues(const VLValue& a, const VLValue& b) {
  if (a.isNone() || b.isNone()) return a.isNone() == b.isNone() ? 0 : (a.isNone() ? 1 : -1);
  if (a.date() && b.date()) return *a.date() < *b.date() ? -1 : (*b.date() < *a.date() ? 1 : 0);
  if (a.isNumber() && b.isNumber()) {
    return a.doubleValue() < b.doubleValue() ? -1 : (b.doubleValue() < a.doubleValue() ? 1 : 0);
  }
  if (a.string() && b.string()) return compareIgnoringCase(*a.string(), *b.string());
  return compareIgnoringCase(a.description(), b.description());
}

}  // namespace

VLItemOrdering::VLItemOrdering(std::vector<VLSortDescriptor> descriptors) : descriptors_(std::move(descriptors)) {
  for (const auto& descriptor : descriptors_) readers_.push_back(VLItem::readerForKey(descriptor.key));
}

bool VLItemOrdering::precedes(const VLItem& a, const VLItem& b) const {
  for (size_t i = 0; i < descriptors_.size(); ++i) {
    // An unknown key reads as none for every item, so it never orders anything.
    if (!readers_[i]) continue;
    int order = compareValues(readers_[i](a.attributes()), readers_[i](b.attributes()));
    if (order != 0) return descriptors_[i].ascending ? order < 0 : order > 0;
  }
  // Ties fall back to the name, then the identifier, so that every ordering is total.
  int byName = compareIgnoringCase(a.filename(), b.filename());
  if (byName != 0) return byName < 0;
  return a.itemIdentifier() < b.itemIdentifier();
}

void VLItemOrdering::sort(std::vector<VLItemRef>& items) const {
  std::stable_sort(items.begin(), items.end(),
                   [this](const VLItemRef& a, const VLItemRef& b) { return precedes(*a, *b); });
}
