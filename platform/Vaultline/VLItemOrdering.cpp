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
  for (const auto& descriptor : descriptors_) {
    readers_.push_back(VLItem::readerForKey(descriptor.key));
    DateMember date = nullptr;
    if (descriptor.key == "creationDate") date = &VLItemAttributes::creationDate;
    if (descriptor.key == "contentModificationDate") date = &VLItemAttributes::contentModificationDate;
    if (descriptor.key == "lastUsedDate") date = &VLItemAttributes::lastUsedDate;
    dates_.push_back(date);
  }
}

bool VLItemOrdering::precedes(const VLItem& a, const VLItem& b) const {
  for (size_t i = 0; i < descriptors_.size(); ++i) {
    int order = 0;
    if (DateMember date = dates_[i]) {
      // As compareValues orders two date values: by date, an absent one last.
      const auto &x = a.attributes().*date, &y = b.attributes().*date;
      if (!x || !y) {
        order = !x == !y ? 0 : (!x ? 1 : -1);
      } else {
        order = *x < *y ? -1 : (*y < *x ? 1 : 0);
      }
    } else if (readers_[i]) {
      order = compareValues(readers_[i](a.attributes()), readers_[i](b.attributes()));
    }
    // An unknown key reads as none for every item, so it never orders anything.
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
