// VLUsageError: bad input from the person running vlvalidate (an unknown option value, a bad
// provider setting, an unreadable baseline, an unwritable report path). The message names
// what was wrong; the runner prints it and exits with status 2.
#pragma once

#include "Core/VLException.h"

class VLUsageError : public VLException {
 public:
  explicit VLUsageError(const std::string& message) : VLException(message) {}
};
