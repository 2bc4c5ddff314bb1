// Small text helpers shared by every layer, so that none keeps its own copy.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// Returns `text` with the ASCII letters A–Z in lower case; every other byte (UTF-8 included) is
// kept as it is, which is what comparisons of names and extensions here need.
std::string vl_lowercase(std::string text);

// Returns the `parts` separated by `separator` ("" for none).
std::string vl_join(const std::vector<std::string>& parts, const std::string& separator = ", ");

// The most bytes of one outside text (a provider's error, comment, name or standard-error
// line) that the library keeps in an expectation, a trace record or a provider fact: enough
// for any message meant for people, small enough that a hostile provider cannot grow a run's
// memory or its reports by sending more.
inline constexpr size_t kVLKeptTextLimit = 64 * 1024;

// Returns `text` as it is when it holds at most `limit` bytes; otherwise its first bytes, cut
// back to a UTF-8 character boundary so that no character is split, followed by
// " … [N bytes cut]" naming how many bytes were dropped. A text that already ends in such a
// note (a cut text quoted in a longer one) keeps one note, counting both cuts.
std::string vl_boundedText(std::string text, size_t limit = kVLKeptTextLimit);
