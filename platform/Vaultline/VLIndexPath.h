// VLIndexPath: a position in a collection: section, then row. A small immutable value.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class VLIndexPath {
 public:
  explicit VLIndexPath(std::vector<size_t> indexes) : indexes_(std::move(indexes)) {}
  // Returns the path (section, row).
  static VLIndexPath forRow(size_t row, size_t section = 0) { return VLIndexPath({section, row}); }

  size_t length() const { return indexes_.size(); }
  // Returns the index at `position`; position 1 is the row within the section.
  size_t indexAtPosition(size_t position) const { return position < indexes_.size() ? indexes_[position] : SIZE_MAX; }

  std::string description() const;
  bool operator==(const VLIndexPath& other) const { return indexes_ == other.indexes_; }

 private:
  std::vector<size_t> indexes_;
};

using VLIndexPaths = std::vector<VLIndexPath>;
