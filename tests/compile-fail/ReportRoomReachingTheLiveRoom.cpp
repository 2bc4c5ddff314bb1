// The runner's report room sees the run room's headers and its own, never the live UI's.
// expected error: vlvalidate/VLLiveSession\.h.*(No such file|file not found)
// include trees: vlrunner-report
#include "vlvalidate/VLLiveSession.h"
