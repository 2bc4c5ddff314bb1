#include "vlvalidate/VLRunPipeline.h"

#include <chrono>

std::shared_ptr<VLRunPipeline> VLRunPipeline::make(VLRunPlan plan, std::vector<VLRunListener*> listeners,
                                                   std::vector<size_t> orders) {
  return std::shared_ptr<VLRunPipeline>(new VLRunPipeline(std::move(plan), std::move(listeners), std::move(orders)));
}

VLCaseScheduler::Options VLRunPipeline::schedulerOptions(const VLRunOptions& options) {
  VLCaseScheduler::Options schedule;
  schedule.jobs = options.jobs;
  schedule.retries = options.retries;
  schedule.caseOptions.strict = options.strict;
  schedule.caseOptions.defaultTimeout = options.timeout;
  // Reports keep only a trace's first and last records; unless the console prints whole
  // traces, only those are kept in memory either.
  schedule.caseOptions.boundTrace = !options.trace;
  schedule.caseOptions.traceFirst = options.traceLimit / 10;
  schedule.caseOptions.traceLast = options.traceLimit;
  return schedule;
}

VLRunPipeline::VLRunPipeline(VLRunPlan plan, std::vector<VLRunListener*> listeners, std::vector<size_t> orders)
    : plan_(std::move(plan)), listeners_(std::move(listeners)) {
  if (orders.empty()) {
    for (size_t order = 0; order < plan_.runs.size(); ++order) orders.push_back(order);
  }
  std::vector<std::shared_ptr<VLValidationCase>> cases;
  for (size_t order : orders) {
    cases.push_back(plan_.catalog->cases()[plan_.runs.at(order).caseIndex]);
    names_.push_back(plan_.namesOf(order));
  }
  VLCaseScheduler::Options schedule = schedulerOptions(plan_.info.options);
  // The callbacks end with wait(): the scheduler reports nothing after it returns.
  schedule.prepareAttempt = [this](size_t index, int attempt, VLCaseRunOptions& options) {
    for (auto* listener : listeners_) listener->prepareAttempt(names_[index], attempt, options);
  };
  scheduler_ = VLCaseScheduler::make(
      std::move(cases), schedule,
      [this](size_t index) {
        for (auto* listener : listeners_) listener->caseStarting(names_[index]);
      },
      [this](size_t index, std::vector<VLCaseOutcome> attempts) {
        VLCaseRecord record = names_[index];
        for (auto& attempt : attempts) record.attempts.push_back(VLAttemptRecord::of(std::move(attempt)));
        for (auto* listener : listeners_) listener->caseFinished(record);
        records_.push_back(std::move(record));
      });
}

void VLRunPipeline::start() {
  started_ = std::chrono::steady_clock::now();
  scheduler_->start();
}

size_t VLRunPipeline::requestStop() { return scheduler_->requestStop(); }

void VLRunPipeline::abandon() { scheduler_->abandon(); }

void VLRunPipeline::post(std::function<void()> event) { scheduler_->post(std::move(event)); }

VLRunPipeline::Outcome VLRunPipeline::wait() {
  Outcome outcome;
  outcome.complete = scheduler_->wait();
  outcome.wallTime = std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
  outcome.records = std::move(records_);
  return outcome;
}
