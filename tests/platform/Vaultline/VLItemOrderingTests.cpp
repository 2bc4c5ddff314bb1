// Orderings: every date key and a number key, each way, with values missing and tied, give the
// same order (date keys are compared in place, the others through their values).
#include <gtest/gtest.h>

#include "Vaultline/VLItemOrdering.h"

namespace {

// An item whose `key` attribute is `value` (none: absent).
VLItemRef item(const std::string& identifier, const std::string& name, const std::string& key,
               std::optional<double> value) {
  VLItemAttributes a;
  a.itemIdentifier = identifier;
  a.filename = name;
  std::optional<VLDate> date;
  if (value) date = VLDate(*value);
  if (key == "creationDate") a.creationDate = date;
  if (key == "contentModificationDate") a.contentModificationDate = date;
  if (key == "lastUsedDate") a.lastUsedDate = date;
  if (key == "documentSize" && value) a.documentSize = static_cast<int64_t>(*value);
  return VLItem::make(std::move(a));
}

TEST(VLItemOrdering, ValuesThenNamesWithoutCaseThenIdentifiersAbsentValuesCountingAsGreatest) {
  for (const char* key : {"creationDate", "contentModificationDate", "lastUsedDate", "documentSize"}) {
    SCOPED_TRACE(key);
    std::vector<VLItemRef> items = {
        item("5", "e", key, std::nullopt), item("2", "b", key, 20), item("4", "B", key, 10),
        item("3", "a", key, 10),           item("1", "A", key, 10), item("6", "f", key, std::nullopt)};
    auto order = [&](bool ascending) {
      auto list = items;
      VLItemOrdering({{key, ascending}}).sort(list);
      std::string ids;
      for (const auto& entry : list) ids += entry->itemIdentifier();
      return ids;
    };
    // Ties on the value fall to the name ("a" = "A", so then the identifier), absent values last.
    EXPECT_EQ(order(true), "134256");
    EXPECT_EQ(order(false), "562134");
  }
}

}  // namespace
