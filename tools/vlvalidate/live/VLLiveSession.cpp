#include "vlvalidate/VLLiveSession.h"

#include <chrono>
#include <csignal>
#include <ctime>
#include <nlohmann/json.hpp>

#include "Choice/VLProviderChoice.h"
#include "Core/VLText.h"
#include "Simulated/VLSimulatedSettings.h"
#include "vlvalidate/VLCaseScheduler.h"
#include "vlvalidate/VLEligibility.h"
#include "vlvalidate/VLHtmlReporter.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLLiveEventLog.h"
#include "vlvalidate/VLTimeText.h"
#include "vlvalidate/VLVersion.h"

using json = nlohmann::ordered_json;

namespace {

// A page shows the start of each attempt's trace as it happens; the whole trace (cut as the
// JSON report cuts it) comes with the finished case.
constexpr int kLiveTraceRecords = 200;

// Milliseconds since the epoch, as the page's performance.timeOrigin + performance.now()
// counts them, so that the page can tell how late an event reached it.
double epochMilliseconds() {
  return std::chrono::duration<double, std::milli>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::string oneLine(const json& value) { return value.dump(-1, ' ', false, json::error_handler_t::replace); }

// The member `key` of `body` as a T, or `fallback` when absent; VLUsageError for another type.
template <class T>
T member(const json& body, const char* key, T fallback) {
  if (!body.contains(key) || body[key].is_null()) return fallback;
  const json& value = body[key];
  bool fits = false;
  if constexpr (std::is_same_v<T, bool>) fits = value.is_boolean();
  if constexpr (std::is_same_v<T, std::string>) fits = value.is_string();
  if constexpr (std::is_same_v<T, int>) fits = value.is_number_integer();
  if constexpr (std::is_same_v<T, double>) fits = value.is_number();
  if (!fits) throw VLUsageError(std::string("\"") + key + "\" has the wrong type: " + value.dump());
  return value.get<T>();
}

json caseJson(const VLRunInfo& info, const VLCaseRecord& record) {
  return VLJsonReporter::document(info, {record}, VLRunSummary{})["cases"][0];
}

}  // namespace

VLLiveRunRequest VLLiveRunRequest::parse(const std::string& body) {
  const json document = json::parse(body, nullptr, false);
  if (!document.is_object()) throw VLUsageError("the request is not a JSON object");
  VLLiveRunRequest request;
  request.provider = member(document, "provider", request.provider);
  request.filter = member(document, "filter", request.filter);
  request.strict = member(document, "strict", request.strict);
  request.timeout = member(document, "timeout", request.timeout);
  request.jobs = member(document, "jobs", request.jobs);
  request.ignoreEligibility = member(document, "ignoreEligibility", request.ignoreEligibility);
  if (request.filter.empty()) request.filter = "*";
  if (!(request.timeout >= 0.01 && request.timeout <= 3600)) {
    throw VLUsageError("the time-out must be 0.01 to 3600 seconds, not " + json(request.timeout).dump());
  }
  if (request.jobs < 1 || request.jobs > 256) {
    throw VLUsageError("jobs must be 1 to 256, not " + std::to_string(request.jobs));
  }
  return request;
}

VLLiveSession::VLLiveSession(std::shared_ptr<VLLiveEventLog> events, double handshakeTimeout)
    : events_(std::move(events)), handshakeTimeout_(handshakeTimeout) {}

VLLiveSession::~VLLiveSession() { shutdown(); }

VLLiveSession::Reply VLLiveSession::start(const VLLiveRunRequest& request) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (state_ != State::Idle) return {409, "A run is already going on: stop it or wait for it to end."};
    state_ = State::Starting;
  }
  // Only the request that moved the state from Idle gets here: no one else touches runThread_.
  if (runThread_.joinable()) runThread_.join();  // it has ended: the state was Idle
  auto refuse = [this](int status, const std::string& error) {
    std::lock_guard<std::mutex> lock(mutex_);
    state_ = State::Idle;
    return Reply{status, error};
  };
  try {
    const VLProviderChoice choice = VLProviderChoice::parse(request.provider);
    {
      // The previous provider goes first: one platform is current at a time.
      std::lock_guard<std::mutex> lock(mutex_);
      installed_.reset();
      catalog_.reset();
    }
    VLInstalledProvider installed = choice.install({.protocolLog = {}, .handshakeTimeout = handshakeTimeout_});
    const bool eligible = VLEligibility::decide(installed.provider);
    VLRunInfo info;
    info.toolVersion = VLVersion::text();
    info.startTime = vl_utcTimestamp(std::time(nullptr));
    info.providerChoice = choice.text();
    info.providerName = installed.provider->identifier();
    info.properties = VLProviderProperties::of(*installed.provider);
    info.options.filter = request.filter;
    info.options.strict = request.strict;
    info.options.timeout = request.timeout;
    info.options.jobs = request.jobs;
    info.options.ignoreEligibility = request.ignoreEligibility;
    if (!eligible && !request.ignoreEligibility) {
      return refuse(422, "Provider " + info.providerName + " (" + choice.text() +
                             ") is not eligible for validation: its validation service refused or could not be "
                             "reached. Tick \"ignore eligibility\" to run anyway.");
    }
    VLCaseCatalog catalog = VLCaseCatalog::of(installed.provider);
    const auto selected = catalog.select(request.filter, std::nullopt);
    std::lock_guard<std::mutex> lock(mutex_);
    plan_ = VLCaseSelection::plan(selected, 1, std::nullopt);
    info.selectedCases = selected.size();
    info.plannedRuns = plan_.size();
    info_ = info;
    installed_ = std::move(installed);
    catalog_ = std::move(catalog);
    records_.assign(plan_.size(), std::nullopt);
    wallTime_ = 0;
    stopped_ = false;
    events_->restart();
    // The page starts its report from this: the JSON report's header, no case, no summary.
    json header = VLJsonReporter::document(info_, {}, VLRunSummary{});
    header["summary"] = nullptr;
    json names = json::array();
    for (const auto& run : plan_) names.push_back(catalog_->names()[run.caseIndex].shortID);
    events_->append("run", oneLine({{"report", header}, {"planned", names}}));
    std::vector<size_t> orders;
    for (size_t order = 0; order < plan_.size(); ++order) orders.push_back(order);
    launchLocked(std::move(orders));
    return {};
  } catch (const VLProviderUnavailable& error) {
    return refuse(502, std::string("The provider could not be started or reached: ") + error.what());
  } catch (const VLException& error) {
    return refuse(400, error.what());
  }
}

VLLiveSession::Reply VLLiveSession::rerun(const std::string& shortID) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (state_ != State::Idle) return {409, "A run is already going on: stop it or wait for it to end."};
  if (!catalog_) return {404, "There is no run yet: start one first."};
  for (size_t order = 0; order < plan_.size(); ++order) {
    if (catalog_->names()[plan_[order].caseIndex].shortID != shortID) continue;
    state_ = State::Starting;  // keeps other requests off runThread_ while it is joined
    lock.unlock();
    if (runThread_.joinable()) runThread_.join();  // it has ended: the state was Idle
    lock.lock();
    stopped_ = false;
    events_->append("rerun", oneLine({{"order", order}, {"id", shortID}}));
    launchLocked({order});
    return {};
  }
  return {404, "The last run has no case \"" + shortID + "\"."};
}

VLLiveSession::Reply VLLiveSession::stop() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (state_ != State::Running || !scheduler_) return {409, "No run is going on."};
  stopped_ = true;
  const size_t running = scheduler_->requestStop();
  events_->append("stopping", oneLine({{"running", running}}));
  return {};
}

void VLLiveSession::shutdown() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (scheduler_) scheduler_->requestStop();
  }
  if (runThread_.joinable() && runThread_.get_id() != std::this_thread::get_id()) runThread_.join();
}

void VLLiveSession::launchLocked(std::vector<size_t> orders) {
  std::vector<std::shared_ptr<VLValidationCase>> cases;
  for (size_t order : orders) cases.push_back(catalog_->cases()[plan_[order].caseIndex]);
  // What the callbacks need, copied: they run on other threads while the run goes on.
  const VLRunInfo info = info_;
  std::vector<VLCaseRecord> names;
  for (size_t order : orders) {
    names.push_back(catalog_->names()[plan_[order].caseIndex]);
    names.back().order = order;
  }
  VLCaseScheduler::Options options;
  options.jobs = info.options.jobs;
  options.caseOptions.strict = info.options.strict;
  options.caseOptions.defaultTimeout = info.options.timeout;
  // Keep what the reports keep of each trace, not the whole of it.
  options.caseOptions.boundTrace = true;
  options.caseOptions.traceFirst = info.options.traceLimit / 10;
  options.caseOptions.traceLast = info.options.traceLimit;
  auto events = events_;
  options.prepareAttempt = [events, orders](size_t index, int attempt, VLCaseRunOptions& caseOptions) {
    const size_t order = orders[index];
    caseOptions.statusBlock = [events, order, attempt](const std::shared_ptr<VLExpectation>& expectation,
                                                       const VLValidator::MarkTable&) {
      const auto record = VLExpectationRecord::of(*expectation);
      json error = nullptr;
      if (record.error) {
        error = {{"domain", record.error->domain}, {"code", record.error->code},
                 {"description", record.error->description}};
      }
      events->append("expectation", oneLine({{"order", order},
                                             {"attempt", attempt},
                                             {"description", record.description},
                                             {"result", vl_resultName(record.result)},
                                             {"comment", record.comment ? json(*record.comment) : json(nullptr)},
                                             {"error", error},
                                             {"sentAt", epochMilliseconds()}}));
    };
    // Trace calls come one at a time (the validator's trace lock), so a plain count will do.
    auto sent = std::make_shared<int>(0);
    caseOptions.traceListener = [events, order, attempt, sent](const VLTraceRecord& record) {
      if ((*sent)++ >= kLiveTraceRecords) return;
      events->append("trace", oneLine({{"order", order},
                                       {"attempt", attempt},
                                       {"kind", record.kindName()},
                                       {"line", record.line()},
                                       {"last", *sent == kLiveTraceRecords}}));
    };
  };
  auto started = [events, names](size_t index) {
    const VLCaseRecord& record = names[index];
    events->append("case-start", oneLine({{"order", record.order}, {"id", record.shortID}, {"title", record.title}}));
  };
  auto finished = [this, info, names](size_t index, std::vector<VLCaseOutcome> attempts) {
    VLCaseRecord record = names[index];
    for (auto& attempt : attempts) record.attempts.push_back(VLAttemptRecord::of(std::move(attempt)));
    json entry = caseJson(info, record);
    std::lock_guard<std::mutex> lock(mutex_);
    events_->append("case", oneLine({{"order", record.order}, {"case", entry}}));
    records_[record.order] = std::move(record);
  };
  scheduler_ = VLCaseScheduler::make(std::move(cases), options, started, finished);
  state_ = State::Running;
  runThread_ = std::thread([this, scheduler = scheduler_] {
    const auto began = std::chrono::steady_clock::now();
    scheduler->start();
    scheduler->wait();
    finishRun(std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count());
  });
}

void VLLiveSession::finishRun(double wallTime) {
  std::lock_guard<std::mutex> lock(mutex_);
  wallTime_ += wallTime;
  scheduler_.reset();
  state_ = State::Idle;
  const json summary = VLJsonReporter::document(info_, {}, summaryLocked())["summary"];
  events_->append("finished", oneLine({{"summary", summary}}));
}

std::vector<VLCaseRecord> VLLiveSession::recordsLocked() const {
  std::vector<VLCaseRecord> records;
  for (const auto& record : records_) {
    if (record) records.push_back(*record);
  }
  return records;
}

VLRunSummary VLLiveSession::summaryLocked() const {
  const auto records = recordsLocked();
  std::optional<int> interrupted;
  if (stopped_ && records.size() < plan_.size()) interrupted = vl_interruptedExitCode(SIGINT);
  return VLRunSummary::of(records, info_.options, plan_.size(), wallTime_, std::nullopt, interrupted);
}

std::optional<std::string> VLLiveSession::report(const std::string& reporter) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!catalog_) return std::nullopt;
  const auto records = recordsLocked();
  const auto summary = summaryLocked();
  if (reporter == "junit") return VLJUnitReporter::document(info_, records, summary);
  if (reporter == "html") return VLHtmlReporter::page(VLJsonReporter::document(info_, records, summary));
  return VLJsonReporter::render(info_, records, summary);
}

std::string VLLiveSession::choicesJson(const std::string& defaultProvider) {
  json kinds = json::array();
  for (const auto& kind : VLProviderKind::all()) {
    json forms = json::array();
    for (const auto& form : kind.help) forms.push_back({{"usage", form.usage}, {"meaning", form.meaning}});
    kinds.push_back({{"prefix", kind.prefix}, {"forms", forms}});
  }
  json quirks = json::array();
  for (const auto& quirk : VLSimulatedQuirks::all()) quirks.push_back({{"name", quirk.name}, {"help", quirk.help}});
  return oneLine({{"defaultProvider", defaultProvider},
                  {"kinds", kinds},
                  {"quirks", quirks},
                  {"settings", VLSimulatedSettings::settingNames()}});
}
