// Throughput and latency of the simulated provider service: actions completed per second,
// and the time from an action's completion to the collection callback that shows it, with
// the whole-provider collection watched over the sample tree and over 100,000 seeded items
// (a change must cost what it touched, not the provider's size).
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <mutex>

#include "Simulated/Simulated.h"
#include "Vaultline/VLEmptyCollectionDelegate.h"

namespace {

using Clock = std::chrono::steady_clock;

// Signals when an update shows the favourite rank it waits for.
class RankWatcher : public VLEmptyCollectionDelegate {
 public:
  void expect(int64_t rank) {
    std::lock_guard lock(mutex_);
    wanted_ = rank;
  }
  Clock::time_point wait() {
    seen_->wait();
    std::lock_guard lock(mutex_);
    return seenAt_;
  }
  void dataForCollectionShouldBeReloaded(VLItemCollection&) override { seen_->signal(); }
  void collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection& collection, const VLIndexPaths& paths,
                                                   const std::vector<std::set<std::string>>&) override {
    auto items = collection.items();
    for (const auto& path : paths) {
      auto rank = items[path.indexAtPosition(1)]->favoriteRank();
      std::lock_guard lock(mutex_);
      if (rank && *rank == wanted_) {
        seenAt_ = Clock::now();
        seen_->signal();
      }
    }
  }
  void collectionDidEncounterError(VLItemCollection&, const VLErrorRef&) override { seen_->signal(); }

 private:
  std::shared_ptr<VLSemaphore> seen_ = VLSemaphore::make();
  std::mutex mutex_;
  int64_t wanted_ = -1;       // guarded by mutex_
  Clock::time_point seenAt_;  // guarded by mutex_
};

VLItemRef makeFolder(const VLSimulatedProviderService& service, const std::string& name) {
  auto manager = VLItemManager::defaultManager();
  auto done = VLSemaphore::make();
  VLItemRef root, folder;
  manager->fetchItemForItemID(
      VLItemID::makeWithProviderIdentifier(service.provider()->providerIdentifier(), std::nullopt,
                                           KsVaultlineRootContainerItemIdentifier),
      [&, done](VLItemRef item, VLErrorRef) {
        root = item;
        done->signal();
      });
  done->wait();
  auto create = VLCreateFolderOperation::make(root, name);
  create->setCreateFolderCompletionBlock([&, done](VLItemRef item, VLErrorRef) {
    folder = item;
    done->signal();
  });
  manager->scheduleAction(create);
  done->wait();
  return folder;
}

// Schedules batches of favourite-rank changes and waits for every completion.
void BM_ActionsCompleted(benchmark::State& state) {
  auto service = VLSimulatedProviderService::make();
  service->install();
  auto manager = VLItemManager::defaultManager();
  auto folder = makeFolder(*service, "Bench");
  const int batch = static_cast<int>(state.range(0));
  int64_t rank = 0;
  for (auto _ : state) {
    auto group = VLDispatchGroup::make();
    for (int i = 0; i < batch; ++i) {
      group->enter();
      auto action = VLModifyFavoritesOperation::make({folder}, {++rank});
      action->setActionCompletionBlock([group](VLErrorRef) { group->leave(); });
      manager->scheduleAction(action);
    }
    group->wait();
  }
  state.SetItemsProcessed(state.iterations() * batch);
  VLPlatform::install(nullptr);
}
BENCHMARK(BM_ActionsCompleted)->Arg(1)->Arg(64)->UseRealTime();

// Measures, per action, the time from its completion to the update that shows it (negative
// when the callback came first: both are asynchronous), and from scheduling to the update.
void BM_CompletionToCollectionCallback(benchmark::State& state) {
  auto service = VLSimulatedProviderService::make("seed-items=" + std::to_string(state.range(0)));
  service->install();
  auto manager = VLItemManager::defaultManager();
  auto folder = makeFolder(*service, "Watched");
  auto collection = manager->newCollectionForProvider(service->provider()->providerID());
  auto watcher = std::make_shared<RankWatcher>();
  collection->setDelegate(watcher);
  collection->startObserving();
  watcher->wait();  // the first reload
  int64_t rank = 0;
  double afterCompletion = 0, afterScheduling = 0;
  for (auto _ : state) {
    watcher->expect(++rank);
    auto completed = VLSemaphore::make();
    Clock::time_point completedAt;
    auto action = VLModifyFavoritesOperation::make({folder}, {rank});
    action->setActionCompletionBlock([&, completed](VLErrorRef) {
      completedAt = Clock::now();
      completed->signal();
    });
    Clock::time_point scheduledAt = Clock::now();
    manager->scheduleAction(action);
    completed->wait();
    Clock::time_point shownAt = watcher->wait();
    afterCompletion += std::chrono::duration<double>(shownAt - completedAt).count();
    afterScheduling += std::chrono::duration<double>(shownAt - scheduledAt).count();
  }
  double n = static_cast<double>(std::max<int64_t>(1, state.iterations()));
  state.counters["completion_to_callback_us"] = benchmark::Counter(afterCompletion * 1e6 / n);
  state.counters["schedule_to_callback_us"] = benchmark::Counter(afterScheduling * 1e6 / n);
  collection->workingQueue()->sync([&] { collection->stopObserving(); });
  VLPlatform::install(nullptr);
}
BENCHMARK(BM_CompletionToCollectionCallback)->ArgName("seeded")->Arg(0)->Arg(100000)->UseRealTime();

}  // namespace
