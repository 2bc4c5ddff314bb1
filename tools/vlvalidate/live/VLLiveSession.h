// VLLiveSession: the runs of the live UI, one at a time: it brings up the provider a page
// chose, runs the selected cases on a thread of its own through the runner's VLRunPipeline,
// and, as a listener of that pipeline, turns what happens into events
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
#include "Choice/VLProviderChoice.h"
#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLRunListener.h"
#include "vlvalidate/VLRunPlan.h"
#include "vlvalidate/VLRunSummary.h"

class VLLiveEventLog;
class VLRunPipeline;

// What a page asks to run, as its form sends it, parsed.
struct VLLiveRunRequest {
  // "provider", as --provider takes it: "sim:case-sensitive-names", "exec:…", "unix:…"
  VLProviderChoice provider = VLProviderChoice::parse("sim");
  // "filter", "strict", "timeout", "jobs" and "ignoreEligibility", as the run command's
  // options of those names take them and in their ranges; the rest keep their defaults.
  VLRunOptions options;

  // Reads a request from the page's JSON body (nested no deeper than VLJsonInput allows);
  // members left out keep their defaults. Throws VLUsageError naming the member that is of
  // the wrong type or out of range, or what is wrong with the provider choice.
  static VLLiveRunRequest parse(const std::string& body);
};

class VLLiveSession : public VLRunListener {
 public:
  // How a request went: an HTTP status (200 or 202 when it went well) and, when it did not,
  // a sentence saying why, for the page to show.
  struct Reply {
    int status = 202;
    std::string error;
  };

  // Appends its events to `events`; providers it starts have `handshakeTimeout` seconds to
  // answer the protocol's initialize.
  explicit VLLiveSession(std::shared_ptr<VLLiveEventLog> events,
                         double handshakeTimeout = VLProviderInstallOptions::kDefaultHandshakeTimeout);
  ~VLLiveSession() override;
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

  // The report of the last run so far, as the file reporter `reporter` of
  // VLReporterRegistry ("json", "junit", "html") writes it; none before the first run or for
  // a name that is no file reporter's.
  std::optional<std::string> report(const std::string& reporter);
  // The choices a page offers: the provider kinds with their help, the simulated provider's
  // quirks (name and what goes wrong) and settings, the report downloads (one per file
  // reporter: name, label, URL), the numeric options' ranges and defaults, and the choices
  // `allowed` on the command line (the first is the default); as JSON.
  static std::string choicesJson(const std::vector<VLProviderChoice>& allowed);

  // What the pipeline tells: each case's start and end, each attempt's live callbacks.
  void caseStarting(const VLCaseRecord& record) override;
  void caseFinished(const VLCaseRecord& record) override;
  void prepareAttempt(const VLCaseRecord& names, int attempt, VLCaseRunOptions& options) override;

 private:
  enum class State { Idle, Starting, Running };

  // Runs the planned runs at `orders` of the current plan on a new pipeline. Called with
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
  std::optional<VLRunPlan> plan_;              // guarded by mutex_; the last run's
  std::vector<std::optional<VLCaseRecord>> records_;  // guarded by mutex_; one per planned run, by order
  double wallTime_ = 0;                        // guarded by mutex_; every launch's time added up
  bool stopped_ = false;                       // guarded by mutex_: the page stopped the run
  std::shared_ptr<VLRunPipeline> pipeline_;    // guarded by mutex_; set while a run goes on
  std::thread runThread_;                      // joined by the next start() and by shutdown()
};
