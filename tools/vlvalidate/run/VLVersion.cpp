#include "vlvalidate/VLVersion.h"

#ifndef VL_VERSION
#define VL_VERSION "0.0.0"
#endif

std::string VLVersion::text() { return VL_VERSION; }
