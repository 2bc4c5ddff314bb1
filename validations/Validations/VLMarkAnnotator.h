// VLMarkAnnotator: shows which identifiers and names in a text stand for the same thing.
// A validator marks an item's identifier and its display name with one number; wherever a
// marked string appears in a text, the annotator writes its mark after it ("Validation-
// AlabamaCarbonSixZulu [3]"), so a reader can follow one item through a failure.
// An immutable value; safe to share.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

class VLMarkAnnotator {
 public:
  // Styles one annotated piece ("name [3]") for its mark; the identity when none is given.
  using Paint = std::function<std::string(const std::string& piece, uint64_t mark)>;

  explicit VLMarkAnnotator(const std::map<std::string, uint64_t>& marks);

  // Returns `text` with " [mark]" after every marked string that stands as a whole word (not
  // inside a longer name); a file extension right after a name stays with it. The longest
  // marked string wins where several start at one place.
  std::string annotate(const std::string& text, const Paint& paint = {}) const;

 private:
  std::vector<std::pair<std::string, uint64_t>> marks_;  // longest first
  // For each first byte, the indexes into marks_ of the strings starting with it, longest
  // first: most places of a text start no marked string, and are passed over at once.
  std::array<std::vector<uint32_t>, 256> byFirstByte_;
};
