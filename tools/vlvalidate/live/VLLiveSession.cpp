#include "vlvalidate/VLLiveSession.h"

#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>

#include "Choice/VLProviderChoice.h"
#include "Core/VLText.h"
#include "Simulated/VLSimulatedSettings.h"
#include "vlvalidate/VLEligibility.h"
#include "vlvalidate/VLJsonInput.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLLiveEventLog.h"
#include "vlvalidate/VLReporterRegistry.h"
#include "vlvalidate/VLRunPipeline.h"

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
  if (!fits) throw VLUsageError(std::string("\"") + key + "\" has the wrong type: " + value.type_name());
  return value.get<T>();
}

}  // namespace

VLLiveRunRequest VLLiveRunRequest::parse(const std::string& body) {
  const json document = VLJsonInput::parse(body, "the request");
  if (!document.is_object()) throw VLUsageError("the request is not a JSON object");
  VLLiveRunRequest request;
  VLRunOptions& options = request.options;
  // Parsed last, so that a wrong type or range anywhere is named before a bad choice.
  std::optional<std::string> provider;
  if (document.contains("provider") && !document["provider"].is_null())
    provider = member(document, "provider", std::string());
  options.filter = member(document, "filter", options.filter);
  options.strict = member(document, "strict", options.strict);
  options.timeout = member(document, "timeout", options.timeout);
  options.jobs = member(document, "jobs", options.jobs);
  options.ignoreEligibility = member(document, "ignoreEligibility", options.ignoreEligibility);
  if (options.filter.empty()) options.filter = "*";
  if (!VLRunOptions::kTimeout.contains(options.timeout)) {
    throw VLUsageError("the time-out must be " + VLRunOptions::kTimeout.text() + " seconds, not " +
                       json(options.timeout).dump());
  }
  if (!VLRunOptions::kJobs.contains(options.jobs)) {
    throw VLUsageError("jobs must be " + VLRunOptions::kJobs.text() + ", not " + std::to_string(options.jobs));
  }
  if (provider) request.provider = VLProviderChoice::parse(*provider);
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
    const VLProviderChoice& choice = request.provider;
    {
      // The previous provider goes first: one platform is current at a time.
      std::lock_guard<std::mutex> lock(mutex_);
      installed_.reset();
      plan_.reset();
    }
    VLInstalledProvider installed = choice.install({.protocolLog = {}, .handshakeTimeout = handshakeTimeout_});
    const auto eligibility = VLEligibility::ask(*installed.platform, installed.provider);
    if (!eligibility.eligible && !request.options.ignoreEligibility) {
      return refuse(422, "Provider " + installed.provider->identifier() + " (" + choice.text() +
                             ") is not eligible for validation. " + eligibility.reason() +
                             (eligibility.faults.empty() ? " " : "") + "Tick \"ignore eligibility\" to run anyway.");
    }
    VLRunPlan plan = VLRunPlan::make(choice, installed.provider, eligibility.properties, request.options);
    std::lock_guard<std::mutex> lock(mutex_);
    plan_ = std::move(plan);
    installed_ = std::move(installed);
    records_.assign(plan_->runs.size(), std::nullopt);
    wallTime_ = 0;
    stopped_ = false;
    events_->restart();
    // The page starts its report from this: the JSON report's header, no case, no summary.
    json header = VLJsonReporter::document(plan_->info, {}, VLRunSummary{});
    header["summary"] = nullptr;
    json names = json::array();
    for (size_t order = 0; order < plan_->runs.size(); ++order) names.push_back(plan_->namesOf(order).shortID);
    events_->append("run", oneLine({{"report", header}, {"planned", names}}));
    launchLocked({});
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
  if (!plan_) return {404, "There is no run yet: start one first."};
  for (size_t order = 0; order < plan_->runs.size(); ++order) {
    if (plan_->namesOf(order).shortID != shortID) continue;
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
  if (state_ != State::Running || !pipeline_) return {409, "No run is going on."};
  stopped_ = true;
  const size_t running = pipeline_->requestStop();
  events_->append("stopping", oneLine({{"running", running}}));
  return {};
}

void VLLiveSession::shutdown() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (pipeline_) pipeline_->requestStop();
  }
  if (runThread_.joinable() && runThread_.get_id() != std::this_thread::get_id()) runThread_.join();
}

void VLLiveSession::launchLocked(std::vector<size_t> orders) {
  pipeline_ = VLRunPipeline::make(*plan_, {this}, std::move(orders));
  state_ = State::Running;
  runThread_ = std::thread([this, pipeline = pipeline_] {
    pipeline->start();
    finishRun(pipeline->wait().wallTime);
  });
}

void VLLiveSession::prepareAttempt(const VLCaseRecord& names, int attempt, VLCaseRunOptions& caseOptions) {
  auto events = events_;
  const size_t order = names.order;
  caseOptions.statusBlock = [events, order, attempt](const std::shared_ptr<VLExpectation>& expectation,
                                                     const VLValidator::MarkTable&) {
    // The expectation as the JSON report writes it, placed in its attempt.
    json event = {{"order", order}, {"attempt", attempt}};
    event.update(VLJsonReporter::expectationObject(VLExpectationRecord::of(*expectation)));
    event["sentAt"] = epochMilliseconds();
    events->append("expectation", oneLine(event));
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
}

void VLLiveSession::caseStarting(const VLCaseRecord& record) {
  events_->append("case-start", oneLine({{"order", record.order}, {"id", record.shortID}, {"title", record.title}}));
}

void VLLiveSession::caseFinished(const VLCaseRecord& record) {
  std::lock_guard<std::mutex> lock(mutex_);
  events_->append("case", oneLine({{"order", record.order},
                                   {"case", VLJsonReporter::caseObject(record, plan_->info.options.traceLimit)}}));
  records_[record.order] = record;
}

void VLLiveSession::finishRun(double wallTime) {
  std::lock_guard<std::mutex> lock(mutex_);
  wallTime_ += wallTime;
  pipeline_.reset();
  state_ = State::Idle;
  events_->append("finished", oneLine({{"summary", VLJsonReporter::summaryObject(plan_->info, summaryLocked())}}));
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
  if (stopped_ && records.size() < plan_->runs.size()) interrupted = vl_interruptedExitCode(SIGINT);
  return VLRunSummary::of(records, plan_->info.options, plan_->runs.size(), wallTime_, std::nullopt, interrupted);
}

std::optional<std::string> VLLiveSession::report(const std::string& reporter) {
  const auto* row = VLReporterRegistry::fileRow(reporter);
  if (!row) return std::nullopt;
  std::lock_guard<std::mutex> lock(mutex_);
  if (!plan_) return std::nullopt;
  return row->render(VLJsonReporter::document(plan_->info, recordsLocked(), summaryLocked()));
}

std::string VLLiveSession::choicesJson(const std::vector<VLProviderChoice>& allowed) {
  json kinds = json::array();
  for (const auto& kind : VLProviderKind::all()) {
    json forms = json::array();
    for (const auto& form : kind.help) forms.push_back({{"usage", form.usage}, {"meaning", form.meaning}});
    kinds.push_back({{"prefix", kind.prefix},
                     {"forms", forms},
                     {"label", kind.label.empty() ? kind.prefix : kind.label},
                     {"argumentLabel", kind.argumentLabel},
                     {"argumentExample", kind.argumentExample},
                     {"argumentIsSettings", kind.argumentIsSettings}});
  }
  json quirks = json::array();
  for (const auto& quirk : VLSimulatedQuirks::all()) quirks.push_back({{"name", quirk.name}, {"help", quirk.help}});
  json reports = json::array();
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    reports.push_back({{"name", row.name},
                       {"label", row.label},
                       {"url", "/api/report." + row.extension},
                       {"file", row.downloadName}});
  }
  auto rangeJson = [](const auto& range) {
    return json{{"min", range.min}, {"max", range.max}, {"value", range.fallback}};
  };
  const json options = {{"timeout", rangeJson(VLRunOptions::kTimeout)}, {"jobs", rangeJson(VLRunOptions::kJobs)}};
  json texts = json::array();
  for (const auto& choice : allowed) texts.push_back(choice.text());
  return oneLine({{"defaultProvider", allowed.empty() ? std::string("sim") : allowed.front().text()},
                  {"allowedProviders", texts},
                  {"options", options},
                  {"kinds", kinds},
                  {"reports", reports},
                  {"quirks", quirks},
                  {"settings", VLSimulatedSettings::settingNames()}});
}
