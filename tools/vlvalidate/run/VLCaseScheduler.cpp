#include "vlvalidate/VLCaseScheduler.h"

#include <algorithm>

#include "Core/VLException.h"

std::shared_ptr<VLCaseScheduler> VLCaseScheduler::make(std::vector<std::shared_ptr<VLValidationCase>> cases,
                                                       Options options, StartHandler started, FinishHandler finished) {
  if (options.jobs < 1) throw VLException("VLCaseScheduler: jobs must be at least 1");
  if (options.retries < 0) throw VLException("VLCaseScheduler: retries must not be negative");
  return std::shared_ptr<VLCaseScheduler>(
      new VLCaseScheduler(std::move(cases), options, std::move(started), std::move(finished)));
}

VLCaseScheduler::VLCaseScheduler(std::vector<std::shared_ptr<VLValidationCase>> cases, Options options,
                                 StartHandler started, FinishHandler finished)
    : cases_(std::move(cases)),
      options_(std::move(options)),
      started_(std::move(started)),
      finished_(std::move(finished)) {}

VLCaseScheduler::~VLCaseScheduler() {
  // Workers hold a reference to the scheduler, so by now every one has been joined or
  // detached; this only guards against a scheduler dropped without wait().
  for (auto& worker : workers_) {
    if (worker.joinable()) worker.detach();
  }
}

void VLCaseScheduler::start() {
  const size_t count = std::min(cases_.size(), static_cast<size_t>(options_.jobs));
  if (count == 0) {
    done_->signal();
    return;
  }
  activeWorkers_ = count;
  auto self = shared_from_this();
  for (size_t i = 0; i < count; ++i) workers_.emplace_back([self] { self->work(); });
}

size_t VLCaseScheduler::requestStop() {
  stopRequested_ = true;
  return running_.load();
}

void VLCaseScheduler::abandon() {
  stopRequested_ = true;
  abandoned_ = true;
  done_->signal();
}

bool VLCaseScheduler::wait() {
  done_->wait();
  if (abandoned_) {
    // Events already queued may still reach the handlers until this step runs; none after.
    reportQueue_->sync([this] { closed_ = true; });
    for (auto& worker : workers_) worker.detach();
    return false;
  }
  for (auto& worker : workers_) worker.join();
  reportQueue_->sync([this] { closed_ = true; });
  return true;
}

void VLCaseScheduler::work() {
  while (!stopRequested_) {
    const size_t index = next_.fetch_add(1);
    if (index >= cases_.size() || stopRequested_) break;
    ++running_;
    post([this, index] {
      if (started_) started_(index);
    });
    auto attempts = runWithRetries(index);
    post([this, index, attempts = std::move(attempts)]() mutable {
      if (finished_) finished_(index, std::move(attempts));
    });
    --running_;
  }
  if (--activeWorkers_ == 0) done_->signal();
}

std::vector<VLCaseOutcome> VLCaseScheduler::runWithRetries(size_t index) {
  std::vector<VLCaseOutcome> attempts;
  for (int attempt = 0; attempt <= options_.retries; ++attempt) {
    if (attempt > 0 && stopRequested_) break;
    VLCaseRunOptions caseOptions = options_.caseOptions;
    if (options_.prepareAttempt) options_.prepareAttempt(index, attempt, caseOptions);
    attempts.push_back(VLCaseRunner::run(VLCaseRunner::freshCopy(*cases_[index]), caseOptions));
    if (attempts.back().result == VLValidationResultPassed) break;
  }
  return attempts;
}

void VLCaseScheduler::post(std::function<void()> event) {
  auto self = shared_from_this();
  reportQueue_->async([self, event = std::move(event)] {
    if (!self->closed_) event();
  });
}
