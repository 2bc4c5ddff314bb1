// The error domain of the library's own verdicts, and how errors are printed in comments.
#pragma once

#include <string>

#include "Core/VLError.h"

// The domain in which the library reports validation failures. Codes: 0 a failure made
// from a comment, 1 a failed check or cursor match, 2 a time-out.
extern const std::string& KsVaultlineValidationErrorDomain;
enum : int64_t {
  VLValidationErrorFailure = 0,
  VLValidationErrorCheckFailed = 1,
  VLValidationErrorTimedOut = 2,
};

// Returns the diagnostic description of an error: its localized description, followed by
// " ↩ " and the underlying error's diagnostic description when there is an underlying error
// whose description differs. "(null)" for none.
std::string vl_prettyDescription(const VLErrorRef& error);
