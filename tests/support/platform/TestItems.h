// Builders of VLItem snapshots for tests: a plain file with an identifier and a name,
// adjusted by a callback for whatever attribute a test is about.
#pragma once

#include <functional>
#include <string>

#include "Vaultline/VLItem.h"

// Returns a file named `filename` (display name the same) with identifier `identifier`,
// in provider "com.example.provider" under "parent", typed "public.plain-text", not a
// cloud item. `adjust` may change any attribute before the item is made.
VLItemRef vl_testItem(const std::string& identifier, const std::string& filename,
                      const std::function<void(VLItemAttributes&)>& adjust = {});
