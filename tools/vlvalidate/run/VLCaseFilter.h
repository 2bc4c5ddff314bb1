// VLCaseFilter: selects cases by a GoogleTest-style pattern: positive patterns separated by
// ':', then optionally '-' and negative patterns separated by ':'; '*' matches any text and
// '?' one character. "VLContainerValidation.*-*/Folder" selects the container cases in the
// root container variant. An empty positive part selects everything. An immutable value.
#pragma once

#include <string>
#include <vector>

class VLCaseFilter {
 public:
  // Makes a filter from `pattern`; "" and "*" select everything.
  explicit VLCaseFilter(const std::string& pattern = "*");

  // Returns whether any of `names` (a case's short ID, its unit-test runner name, …) is
  // selected: equal to the whole pattern, or matched by a positive pattern and by no
  // negative one.
  bool matches(const std::vector<std::string>& names) const;
  bool matches(const std::string& name) const { return matches(std::vector<std::string>{name}); }

  const std::string& pattern() const { return pattern_; }

  // Returns whether `text` matches the glob `glob` ('*' any text, '?' one character).
  static bool globMatches(const std::string& glob, const std::string& text);

 private:
  std::string pattern_;
  std::vector<std::string> positive_;
  std::vector<std::string> negative_;
};
