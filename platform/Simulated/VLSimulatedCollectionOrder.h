// VLSimulatedCollectionOrder: orders the listing a simulated collection starts from (its first
// enumeration, or a new ordering) without sorting a big listing again for every new collection
// of the same scope. It remembers the last listing of each scope and ordering, in order; a
// later listing that differs in a few items is made from it with one pass and a binary search
// per changed item. Changes after that reach a collection's own VLCollectionModel instead.
//
// Thread-safety: owned by the store and used only under the store's lock.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Simulated/VLSimulatedStore.h"
#include "Vaultline/VLSortDescriptor.h"

class VLSimulatedCollectionOrder {
 public:
  using Entry = VLSimulatedStore::Entry;
  using Precedes = std::function<bool(const Entry& a, const Entry& b)>;

  // Returns `entries` (a listing of the scope named `scope`) in the order of `descriptors`.
  // Listings in increasing identifier order (as the store makes them) and not tiny are
  // remembered and patched; any other listing is sorted afresh.
  std::vector<Entry> sorted(const std::string& scope, const std::vector<VLSortDescriptor>& descriptors,
                            const std::vector<Entry>& entries);

  // Returns `current` in the order `precedes`, made from `previousSorted` (which is
  // `previous` in that order): entries whose item or revision changed are taken out and put
  // back in place. Both listings must be in strictly increasing identifier order, as the
  // store makes them. Returns none when so much changed that sorting costs no more.
  static std::optional<std::vector<Entry>> patched(const std::vector<Entry>& previous,
                                                   const std::vector<Entry>& previousSorted,
                                                   const std::vector<Entry>& current, const Precedes& precedes);

 private:
  struct Ordered {
    std::vector<Entry> listing, sorted;
  };
  // Listings shorter than this are sorted afresh: remembering them would save nothing.
  static constexpr size_t kRememberedSize = 256;
  std::map<std::string, Ordered> last_;  // by scope and ordering
};
