// Small text helpers shared by every layer, so that none keeps its own copy.
#pragma once

#include <string>
#include <vector>

// Returns `text` with the ASCII letters A–Z in lower case; every other byte (UTF-8 included) is
// kept as it is, which is what comparisons of names and extensions here need.
std::string vl_lowercase(std::string text);

// Returns the `parts` separated by `separator` ("" for none).
std::string vl_join(const std::vector<std::string>& parts, const std::string& separator = ", ");
