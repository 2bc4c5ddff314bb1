// The runner's run room, the lowest, cannot reach a reporter.
// expected error: vlvalidate/VLReporter\.h.*(No such file|file not found)
// include trees: vlrunner-run
#include "vlvalidate/VLReporter.h"
