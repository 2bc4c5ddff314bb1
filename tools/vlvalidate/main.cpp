// vlvalidate: the command-line runner. Everything but signal set-up lives in vlrunner.
#include <string>
#include <vector>

#include "vlvalidate/VLCommandLine.h"
#include "vlvalidate/VLInterruptWatcher.h"

int main(int argc, char** argv) {
  // Before any thread starts, so that every thread inherits the blocked signals.
  VLInterruptWatcher::install();
  return VLCommandLine::main(std::vector<std::string>(argv + 1, argv + argc));
}
