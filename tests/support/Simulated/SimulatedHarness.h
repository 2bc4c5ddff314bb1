// Test helpers for the simulated provider service: a fixture that installs a fresh service,
// blocking wrappers around its asynchronous calls, and a collection recorder whose waits
// end on events (with a generous bound so that a broken service fails instead of hanging).
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Simulated/Simulated.h"
#include "support/Await.h"

namespace simtest {

inline constexpr double kWait = 20.0;  // seconds; only reached when something is broken

// One collection callback as an observer sees it, with the item it names.
struct Event {
  std::string kind;  // reload, insert, delete, update, move, error, observed
  VLItemRef item;
};

// Records a collection's callbacks, keeping its own copy of the list so that deletions can
// name their item (rows of the previous list), and lets a test wait for an event.
class Recorder : public VLItemCollectionDelegate {
 public:
  void dataForCollectionShouldBeReloaded(VLItemCollection& collection) override {
    auto items = collection.items();
    std::lock_guard lock(mutex_);
    for (const auto& item : items) events_.push_back({"reload", item});
    if (items.empty()) events_.push_back({"reload", nullptr});
    old_ = items;
    changed_.notify_all();
  }
  void collectionDidInsertItemsAtIndexPaths(VLItemCollection& c, const VLIndexPaths& paths) override {
    add("insert", c.items(), paths);
  }
  void collectionDidDeleteItemsAtIndexPaths(VLItemCollection&, const VLIndexPaths& paths) override {
    std::vector<VLItemRef> old;
    {
      std::lock_guard lock(mutex_);
      old = old_;
    }
    add("delete", old, paths);
  }
  void collectionDidUpdateItemsAtIndexPathsChanges(VLItemCollection& c, const VLIndexPaths& paths,
                                                   const std::vector<std::set<std::string>>&) override {
    add("update", c.items(), paths);
  }
  void collectionDidMoveItemsFromIndexPathsToIndexPaths(VLItemCollection& c, const VLIndexPaths&,
                                                        const VLIndexPaths& to) override {
    add("move", c.items(), to);
  }
  void collectionDidPerformBatchUpdateWithReplayBlock(VLItemCollection& collection,
                                                      const ReplayBlock& replay) override {
    replay(*this);
    auto items = collection.items();
    std::lock_guard lock(mutex_);
    old_ = items;
    ++batches_;
  }
  void collectionDidEncounterError(VLItemCollection&, const VLErrorRef&) override { push({"error", nullptr}); }
  void collectionDidUpdateObservedItem(VLItemCollection&, const VLItemRef& item) override { push({"observed", item}); }

  // Waits until an event satisfying `match` has arrived after index `from`; returns its index or -1.
  int waitFor(const std::function<bool(const Event&)>& match, size_t from = 0) {
    std::unique_lock lock(mutex_);
    int found = -1;
    changed_.wait_for(lock, std::chrono::duration<double>(kWait), [&] {
      for (size_t i = from; i < events_.size(); ++i) {
        if (match(events_[i])) return (found = static_cast<int>(i)) >= 0;
      }
      return false;
    });
    return found;
  }
  // Waits for an event of `kind` about the item named `filename`.
  int waitFor(const std::string& kind, const std::string& filename, size_t from = 0) {
    return waitFor([&](const Event& e) { return e.kind == kind && e.item && e.item->filename() == filename; }, from);
  }
  std::vector<Event> events() {
    std::lock_guard lock(mutex_);
    return events_;
  }
  size_t count() {
    std::lock_guard lock(mutex_);
    return events_.size();
  }
  int batches() {
    std::lock_guard lock(mutex_);
    return batches_;
  }

 private:
  void push(Event event) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
    changed_.notify_all();
  }
  void add(const std::string& kind, const std::vector<VLItemRef>& items, const VLIndexPaths& paths) {
    std::lock_guard lock(mutex_);
    for (const auto& path : paths) {
      size_t row = path.indexAtPosition(1);
      EXPECT_LT(row, items.size()) << kind << " row out of range";
      events_.push_back({kind, row < items.size() ? items[row] : nullptr});
    }
    changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Event> events_;
  std::vector<VLItemRef> old_;
  int batches_ = 0;
};

// Installs a fresh simulated service per test and offers blocking helpers.
class SimulatedTest : public ::testing::Test {
 protected:
  // Starts from an empty root (no sample tree) unless `settings` asks for one.
  void start(const std::string& settings = "") {
    service = VLSimulatedProviderService::make("seed=none," + settings);
    service->install();
    manager = VLItemManager::defaultManager();
    provider = service->provider();
  }
  void SetUp() override { start(); }
  void TearDown() override {
    for (auto& collection : collections) collection->workingQueue()->sync([&] { collection->stopObserving(); });
    VLPlatform::install(nullptr);
  }

  // Runs `action` and returns the error it completed with.
  VLErrorRef perform(const std::shared_ptr<VLActionOperation>& action) {
    return vl_await<VLErrorRef>([&](auto reply) {
      action->setActionCompletionBlock(reply);
      manager->scheduleAction(action);
    });
  }
  VLItemRef lookup(const std::string& identifier) {
    return vl_await<VLItemRef>([&](auto reply) {
      manager->fetchItemForItemID(itemID(identifier), [reply](VLItemRef item, VLErrorRef) { reply(item); });
    });
  }
  std::shared_ptr<const VLItemID> itemID(const std::string& identifier) {
    if (VLItemID::instancesRespondTo(VLPlatformCapability::ItemIDWithProviderIdentifier)) {
      return VLItemID::makeWithProviderIdentifier(provider->providerIdentifier(), std::nullopt, identifier);
    }
    return VLItemID::makeWithProviderID(provider->providerID(), std::nullopt, identifier);
  }
  VLItemRef root() { return lookup(KsVaultlineRootContainerItemIdentifier); }

  // Writes `contents` to a fresh temporary file named `name` and imports it into `parent`.
  VLItemRef importFile(const std::string& name, const std::string& contents, VLItemRef parent = nullptr,
                       VLErrorRef* errorOut = nullptr) {
    auto& files = VLFileManager::defaultManager();
    auto directory =
        files.temporaryDirectory().URLByAppendingPathComponent("source-" + std::to_string(++sourceCounter), true);
    files.createDirectoryAtURL(directory, true);
    auto url = directory.URLByAppendingPathComponent(name, false);
    files.writeData(VLData::fromString(contents), url, false);
    auto copy = VLPlatform::current()->offers(VLPlatformCapability::CopyWithURLs)
                    ? VLCopyOperation::makeWithURLs({url}, parent ? parent : root())
                    : VLCopyOperation::makeWithSourceURLs({url}, parent ? parent : root());
    VLErrorRef error = perform(copy);
    if (errorOut) *errorOut = error;
    auto results = copy->transferResults();
    return results.count(url) ? results[url] : nullptr;
  }
  VLItemRef createFolder(const std::string& name, VLItemRef parent = nullptr, VLErrorRef* errorOut = nullptr) {
    auto operation = VLCreateFolderOperation::make(parent ? parent : root(), name);
    auto [created, error] = vl_await<std::pair<VLItemRef, VLErrorRef>>([&](auto reply) {
      operation->setCreateFolderCompletionBlock([reply](VLItemRef item, VLErrorRef error) { reply({item, error}); });
      manager->scheduleAction(operation);
    });
    if (errorOut) *errorOut = error;
    return created;
  }
  std::optional<VLURL> fetchURL(const VLItemRef& item, bool placeholder, VLErrorRef* errorOut = nullptr) {
    auto [url, error] = vl_await<std::pair<std::optional<VLURL>, VLErrorRef>>([&](auto reply) {
      manager->fetchURLForItem(item, placeholder, [reply](std::optional<VLURL> url, VLErrorRef error) {
        reply({url, error});
      });
    });
    if (errorOut) *errorOut = error;
    return url;
  }
  VLItemRef fetchItemForURL(const VLURL& url) {
    return vl_await<VLItemRef>(
        [&](auto reply) { manager->fetchItemForURL(url, [reply](VLItemRef item, VLErrorRef) { reply(item); }); });
  }

  // Observes `collection` (ordered newest first) and waits for its first reload.
  std::shared_ptr<Recorder> observe(const std::shared_ptr<VLItemCollection>& collection) {
    auto recorder = std::make_shared<Recorder>();
    recorders.push_back(recorder);
    collections.push_back(collection);
    collection->setWorkingQueue(VLDispatchQueue::make("collection-queue"));
    collection->reorderItemsWithSortDescriptors({vl_sortDescriptorByModifiedDateDescending()});
    collection->setDelegate(recorder);
    collection->workingQueue()->sync([&] { collection->startObserving(); });
    EXPECT_GE(recorder->waitFor([](const Event& e) { return e.kind == "reload" || e.kind == "error"; }), 0);
    return recorder;
  }
  std::shared_ptr<Recorder> observeContainer(const std::string& identifier) {
    return observe(manager->collectionWithIdentifier(identifier, std::nullopt, provider->providerIdentifier(), {}));
  }

  std::shared_ptr<VLSimulatedProviderService> service;
  std::shared_ptr<VLItemManager> manager;
  std::shared_ptr<VLProvider> provider;
  std::vector<std::shared_ptr<VLItemCollection>> collections;
  std::vector<std::shared_ptr<Recorder>> recorders;  // collections hold their delegates weakly
  int sourceCounter = 0;
};

// A picture whose orientation a thumbnail shows: red lower half, green upper half, as JPEG.
inline std::string redGreenJPEG() {
  VLBitmap picture(50, 50);
  picture.fillRect(0, 0, 50, 25, 1, 0, 0, 1);
  picture.fillRect(0, 25, 50, 25, 0, 1, 0, 1);
  return VLImageCodec::encodeJPEG(picture).stringValue();
}

}  // namespace simtest
