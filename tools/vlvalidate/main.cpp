// vlvalidate: the command-line runner. Everything but signal set-up lives in vlrunner.
#include <string>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "vlvalidate/VLCommandLine.h"
#include "vlvalidate/VLInterruptWatcher.h"

int main(int argc, char** argv) {
#if defined(__GLIBC__)
  // Cases on many worker threads each build and drop whole event lists of a big provider;
  // with an allocation arena per thread, the freed memory stays spread over all of them
  // (about half again the peak at 100,000 items). Two arenas cost no measurable speed.
  mallopt(M_ARENA_MAX, 2);
#endif
  // Before any thread starts, so that every thread inherits the blocked signals.
  VLInterruptWatcher::install();
  return VLCommandLine::main(std::vector<std::string>(argv + 1, argv + argc));
}
