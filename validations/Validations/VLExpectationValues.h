// How expected values are printed in expectation texts and compared with what a provider
// reported.
//
// Printing: dates show their plain description and their whole seconds since 1970, tags
// show "label#colour", arrays print their elements the same way inside "( … )"; anything
// else prints its plain description. Comparing is always asked of the expected value with
// the candidate's value as argument: an absent expected value equals nothing, not even an
// absent candidate value, and dates agree when less than one second apart. Pure functions,
// safe from any thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Core/VLDate.h"
#include "Core/VLValue.h"
#include "Vaultline/VLTag.h"

// Returns the expectation description of any value: dispatches on its kind to the
// overloads below, and falls back on the value's plain description.
std::string vl_expectationDescription(const VLValue& value);
// Returns "<plain description> (<seconds since 1970, truncated>)".
std::string vl_expectationDescription(const VLDate& date);
// Returns "label#colour".
std::string vl_expectationDescription(const VLTag& tag);
// Returns "( a, b )" over the elements' expectation descriptions.
std::string vl_expectationDescription(const VLValue::Array& array);
// Returns "( a#1, b#2 )" for an item's tag list.
std::string vl_expectationDescription(const std::vector<std::shared_ptr<const VLTag>>& tags);

// Returns whether the expected value `expected` accepts the candidate value `candidate`:
// false when `expected` is absent, the date rule when both are dates, and ordinary
// equality otherwise (numbers by value, arrays element-wise).
bool vl_expectationIsEqual(const VLValue& expected, const VLValue& candidate);
// Returns whether `candidate` is a date strictly less than one second away from `expected`;
// a candidate of another kind is compared by ordinary equality.
bool vl_expectationIsEqual(const VLDate& expected, const VLValue& candidate);
