// One-line diagnostic descriptions of items, transfers and actions, as shown in validation
// logs and expectation comments.
//
// An item reads as its kind, name, identifier, transfer state, size, one date and tags,
// with pictographs for kinds and transfer states, e.g. "📁 Photos id:42 📱 3 children ".
// The text is for people only; nothing parses it. Pure functions, safe from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Core/VLError.h"
#include "Vaultline/VLActionOperation.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLProgress.h"

// Returns the one-line description of `item` (with its trailing space), or "(null)".
std::string vl_prettyDescription(const VLItemRef& item);
// Returns the action's own description, unchanged. (The form taking a shared action is
// declared with the logging item manager, which prints every action it schedules.)
std::string vl_prettyDescription(const VLActionOperation& action);

// Appends a transfer's state to `text`: the prefix and a space, then "(indeterminate) " or
// the percentage done ("42.5% "), then "(offline) " when `error` says the server is
// unreachable. Progress and error may be null.
void validation_dumpProgress(std::string& text, const std::shared_ptr<const VLProgress>& progress,
                             const std::string& prefix, const VLErrorRef& error);

// Returns a byte count in a stable human form: "0 bytes", "1 byte", "512 bytes", "2 KB",
// "1.5 MB" (powers of 1000, at most one decimal).
std::string vl_byteCountDescription(int64_t bytes);
