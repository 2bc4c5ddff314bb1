// VLVersion: the version of vlvalidate and of the report formats' writer.
#pragma once

#include <string>

class VLVersion {
 public:
  // Returns the project version, "0.1.0".
  static std::string text();
};
