// VLReporter: what every report of a run is written through: the console, the JSON
// document, the JUnit file. One small interface; each reporter is one row of
// VLReporterRegistry, made from one configuration, so a new format is one new file pair and
// one row.
//
// The runner calls a reporter from one thread at a time, in the order the events happen
// (declared below in that order). Each reporter owns its output.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLRunInfo.h"
#include "vlvalidate/VLRunSummary.h"

class VLTerminal;

class VLReporter {
 public:
  virtual ~VLReporter() = default;

  // The run is set up: provider, properties, options, how many runs are planned.
  virtual void runStarting(const VLRunInfo& info) = 0;
  // A planned run of a case starts (`record` holds its names, no attempt yet).
  virtual void caseStarting(const VLCaseRecord& record) { (void)record; }
  // A planned run of a case has ended, every attempt in `record`.
  virtual void caseFinished(const VLCaseRecord& record) = 0;
  // An interrupt stopped the run from starting more cases; `running` cases are finishing.
  virtual void runStopping(size_t running) { (void)running; }
  // The run is over. Throws VLException when the report cannot be written.
  virtual void runFinished(const VLRunSummary& summary) = 0;
};

// What a reporter is made from.
struct VLReporterConfig {
  std::shared_ptr<VLTerminal> terminal;  // console: where lines, the status line and logs go
  std::string path;                      // file reporters: the file, or "-" for standard output
  bool verbose = false;                  // console: every expectation of every case
};
