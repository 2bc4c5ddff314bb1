// VLUsageError: bad input from the person driving a front end (an unknown option value, a bad
// provider choice, an unreadable baseline, an unwritable report path). The message names what
// was wrong; a front end shows it as is (vlvalidate prints it and exits with status 2).
#pragma once

#include <string>

#include "Core/VLException.h"

class VLUsageError : public VLException {
 public:
  explicit VLUsageError(const std::string& message) : VLException(message) {}
};
