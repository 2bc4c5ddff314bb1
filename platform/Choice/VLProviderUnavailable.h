// VLProviderUnavailable: the chosen provider could not be started or reached, or did not
// answer in time. The message says why (for a provider in its own process: how it ended and
// its last lines of standard error); vlvalidate prints it and exits with status 4.
#pragma once

#include <string>

#include "Core/VLException.h"

class VLProviderUnavailable : public VLException {
 public:
  explicit VLProviderUnavailable(const std::string& message) : VLException(message) {}
};
