// VLLiveSession: the runs of the live UI, one at a time: it brings up the provider a page
// chose, runs the selected cases on a thread of its own, and turns what happens into events
// of a VLLiveEventLog as it happens: each case's start, each settled expectation (the
// validator's status callback), the first records of each attempt's trace, each finished
// case as the JSON report writes it, and the summary. It keeps the run's records, so the
// page can re-run one case (the run's record of it is replaced) and download the run's
// reports, written by the runner's own reporters.
//
// Every method is safe from any thread (the server's request threads); the run's state is
// guarded by one mutex, held only briefly and never while a case runs. Neither copyable nor
// movable; shutdown() before it goes.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Choice/VLInstalledProvider.h"
#include "vlvalidate/VLCaseCatalog.h"
#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLRunInfo.h"
#include "vlvalidate/VLRunSummary.h"

class VLCaseScheduler;
class VLLiveEventLog;

// What a page asks to run, as its form sends it.
struct VLLiveRunRequest {
  std::string provider = "sim";    // as --provider takes it: "sim:case-sensitive-names", "exec:…", "unix:…"
  std::string filter = "*";        // GoogleTest-style pattern, as --filter
  bool strict = false;             // as --strict
  double timeout = 5;              // the validators' default time-out, 0.01 to 3600 seconds
  int jobs = 1;                    // cases at once, 1 to 256
  bool ignoreEligibility = false;  // run although the provider refuses validation

  // Reads a request from the page's JSON body; members left out keep their defaults.
  // Throws VLUsageError naming the member that is of the wrong type or out of range.
  static VLLiveRunRequest parse(const std::string& body);
};

class VLLiveSession {
 public:
  // How a request went: an HTTP status (200 or 202 when it went well) and, when it did not,
  // a sentence saying why, for the page to show.
  struct Reply {
    int status = 202;
    std::string error;
  };

  // Appends its events to `events`; providers it starts have `handshakeTimeout` seconds to
  // answer the protocol's initialize.
  explicit VLLiveSession(std::shared_ptr<VLLiveEventLog> events, double handshakeTimeout = 10.0);
  ~VLLiveSession();
  VLLiveSession(const VLLiveSession&) = delete;
  VLLiveSession& operator=(const VLLiveSession&) = delete;

  // Starts a run of `request`: 202 once it runs; 409 while another run goes on; 400 for a
  // bad choice or a filter that selects nothing; 502 when the provider cannot be started or
  // reached; 422 when it is not eligible. Blocks while the provider comes up.
  Reply start(const VLLiveRunRequest& request);
  // Runs the case `shortID` of the last run again, with the same provider and options,
  // replacing its record: 202, 409 while a run goes on, 404 for a case the run did not have.
  Reply rerun(const std::string& shortID);
  // Starts no further case of the current run (running ones finish): 202, or 409 when no
  // run goes on.
  Reply stop();
  // Stops the current run and waits for its running cases to finish.
  void shutdown();

  // The report of the last run so far, as `reporter` ("json", "junit", "html") writes it; none
  // before the first run.
  std::optional<std::string> report(const std::string& reporter);
  // The choices a page offers: the provider kinds with their help, the simulated provider's
  // quirks (name and what goes wrong) and settings, and `defaultProvider`; as JSON.
  static std::string choicesJson(const std::string& defaultProvider);

 private:
  enum class State { Idle, Starting, Running };

  // Runs the planned runs at `orders` of the current plan on a new scheduler. Called with
  // mutex_ held.
  void launchLocked(std::vector<size_t> orders);
  // Ends a run whose scheduler has returned.
  void finishRun(double wallTime);
  VLRunSummary summaryLocked() const;
  std::vector<VLCaseRecord> recordsLocked() const;

  const std::shared_ptr<VLLiveEventLog> events_;
  const double handshakeTimeout_;
  std::mutex mutex_;
  State state_ = State::Idle;                  // guarded by mutex_
  std::optional<VLInstalledProvider> installed_;  // guarded by mutex_; kept until the next run
  std::optional<VLCaseCatalog> catalog_;       // guarded by mutex_
  std::vector<VLPlannedRun> plan_;             // guarded by mutex_
  VLRunInfo info_;                             // guarded by mutex_
  std::vector<std::optional<VLCaseRecord>> records_;  // guarded by mutex_; one per planned run, by order
  double wallTime_ = 0;                        // guarded by mutex_; every launch's time added up
  bool stopped_ = false;                       // guarded by mutex_: the page stopped the run
  std::shared_ptr<VLCaseScheduler> scheduler_;  // guarded by mutex_; set while a run goes on
  std::thread runThread_;                      // joined by the next start() and by shutdown()
};
