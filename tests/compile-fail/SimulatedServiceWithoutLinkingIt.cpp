// The simulated service's headers come only with the vlsimulated library, not with the platform.
// expected error: Simulated/Simulated\.h.*(No such file|file not found)
#include "Simulated/Simulated.h"
