// Transfers and placeholders, thumbnails, the validation service and platform revisions.
#include <filesystem>

#include "support/SimulatedHarness.h"

namespace {

using simtest::Event;
namespace fs = std::filesystem;

class VLSimulatedService : public simtest::SimulatedTest {
 protected:
  // Returns the validation proxy (with an error handler) for `item`, or nullptr.
  std::shared_ptr<VLRemoteObjectProxy> proxyFor(const VLItemRef& item, bool resume = true) {
    auto done = VLSemaphore::make();
    std::shared_ptr<VLRemoteObjectProxy> proxy;
    manager->fetchURLForItem(item, [&, done](std::optional<VLURL> url, VLErrorRef) {
      VLFileManager::defaultManager().getVaultlineServicesForItemAtURL(
          *url, [&, done](const VLVaultlineServices& services, VLErrorRef) {
            auto found = services.find(KsVaultlineValidationServiceV1Name);
            if (found == services.end()) return done->signal();
            found->second->getVaultlineConnectionWithCompletionHandler(
                [&, done](std::shared_ptr<VLServiceConnection> connection, VLErrorRef) {
                  connection->setRemoteObjectInterface(KsVaultlineValidationServiceV1ProtocolName);
                  if (resume) connection->resume();
                  proxy = connection->remoteObjectProxyWithErrorHandler([](VLErrorRef) {});
                  done->signal();
                });
          });
    });
    EXPECT_TRUE(done->wait(simtest::kWait));
    return proxy;
  }
  std::pair<bool, VLValue::Dictionary> allow(const std::shared_ptr<VLRemoteObjectProxy>& proxy) {
    return vl_await<std::pair<bool, VLValue::Dictionary>>([&](auto reply) {
      proxy->validation_allowValidation([reply](bool allowed, const VLValue::Dictionary& options) {
        reply({allowed, options});
      });
    });
  }
  VLErrorRef evictThrough(const std::shared_ptr<VLRemoteObjectProxy>& proxy) {
    return vl_await<VLErrorRef>([&](auto reply) { proxy->validation_evictDocumentWithCompletionHandler(reply); });
  }
  using Thumbnail = std::tuple<VLItemRef, std::optional<VLData>, std::string, VLErrorRef>;
  // Fetches thumbnails of `items` and returns every per-item answer once the fetch has finished.
  std::vector<Thumbnail> thumbnails(const std::vector<VLItemRef>& items, VLSize size, double scale) {
    auto operation = manager->thumbnailsFetchOperationForItems(items, size, scale);
    std::vector<Thumbnail> calls;
    std::mutex mutex;
    operation->setPerThumbnailCompletionBlock([&](const VLItemRef& item, const std::optional<VLData>& data,
                                                  const std::string& format, const VLErrorRef& error) {
      std::lock_guard lock(mutex);
      calls.emplace_back(item, data, format, error);
    });
    auto queue = VLOperationQueue::make();
    queue->addOperation(operation);
    EXPECT_TRUE(vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, simtest::kWait));
    return calls;
  }
};

TEST_F(VLSimulatedService, EvictionLeavesOnlyAPlaceholderAndReadingBringsTheBytesBack) {
  auto file = importFile("big.dat", std::string(512000, '\0'));
  ASSERT_TRUE(lookup(file->itemIdentifier())->isUploaded());
  auto url = fetchURL(file, false);
  auto proxy = proxyFor(file);
  ASSERT_TRUE(proxy);
  ASSERT_FALSE(evictThrough(proxy));
  EXPECT_FALSE(lookup(file->itemIdentifier())->isDownloaded());

  VLErrorRef error;
  EXPECT_FALSE(fetchURL(file, false, &error)) << "no local copy and no placeholder yet";
  EXPECT_TRUE(error);
  auto placeholder = fetchURL(file, true);
  ASSERT_TRUE(placeholder);
  EXPECT_EQ(*placeholder, *url);
  auto& files = VLFileManager::defaultManager();
  EXPECT_FALSE(files.checkResourceIsReachable(*placeholder));
  EXPECT_TRUE(files.checkPromisedItemIsReachable(*placeholder));

  std::optional<VLData> read;
  VLFileCoordinator coordinator;
  ASSERT_TRUE(
      coordinator.coordinateReadingItemAtURL(*url, nullptr, [&](const VLURL& at) { read = files.contentsAtURL(at); }));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->length(), 512000u);
  EXPECT_TRUE(lookup(file->itemIdentifier())->isDownloaded());
}

TEST_F(VLSimulatedService, DownloadAndEvictActionsChangeTransferState) {
  auto items = observeContainer(KsVaultlineRootContainerItemIdentifier);
  auto file = importFile("doc.txt", "body");
  ASSERT_TRUE(lookup(file->itemIdentifier())->isUploaded());
  ASSERT_FALSE(perform(VLEvictOperation::make({file})));
  EXPECT_GE(items->waitFor(
                [](const Event& e) { return e.item && e.item->filename() == "doc.txt" && !e.item->isDownloaded(); }),
            0);
  EXPECT_FALSE(fs::exists(fetchURL(file, true)->path()));

  auto download = VLDownloadOperation::make({file});
  auto downloaded = vl_await<std::vector<VLItemRef>>([&](auto reply) {
    download->setDownloadCompletionBlock([reply](const std::vector<VLItemRef>& items, VLErrorRef) { reply(items); });
    manager->scheduleAction(download);
  });
  ASSERT_EQ(downloaded.size(), 1u);
  EXPECT_TRUE(downloaded[0]->isDownloaded());
  EXPECT_FALSE(downloaded[0]->isDownloading());
  EXPECT_TRUE(downloaded[0]->isUploaded());
  EXPECT_EQ(VLFileManager::defaultManager().contentsAtURL(*fetchURL(file, false))->stringValue(), "body");
}

TEST_F(VLSimulatedService, ThumbnailsShowThePictureOncePerItem) {
  auto image = importFile("picture.jpeg", simtest::redGreenJPEG());
  auto text = importFile("plain.txt", "no picture");
  EXPECT_EQ(image->typeIdentifier(), "public.jpeg");

  auto calls = thumbnails({image, text}, {50, 50}, 1.0);
  ASSERT_EQ(calls.size(), 2u);
  auto& [item, data, format, error] = calls[0];
  EXPECT_EQ(item->itemIdentifier(), image->itemIdentifier());
  EXPECT_EQ(format, VLThumbnailFormatUndecorated);
  ASSERT_TRUE(data);
  auto pixels = VLImageCodec::decode(*data)->floatPixelsScaledTo(50, 50);
  EXPECT_GT(pixels[10000 / 4 + 1], 0.9f);  // green at the top
  EXPECT_GT(pixels[29200 / 4], 0.9f);      // red at the bottom
  EXPECT_TRUE(std::get<3>(calls[1]));      // text has no thumbnail
}

// An action the provider's work chokes on (here: one whose class name cannot even be read).
class ChokingAction : public VLActionOperation {
 public:
  std::string className() const override { throw std::runtime_error("no name"); }

 protected:
  std::string argumentsDescription() const override { return ""; }
};

TEST_F(VLSimulatedService, WorkThatCannotBeDoneStillAnswersWithAnError) {
  auto image = importFile("picture.jpeg", simtest::redGreenJPEG());
  auto calls = thumbnails({image, image}, {1e9, 1e9}, 1e9);
  ASSERT_EQ(calls.size(), 2u);
  ASSERT_TRUE(std::get<3>(calls[1]));
  EXPECT_EQ(std::get<3>(calls[1])->localizedDescription(),
            "A thumbnail of 1e+09x1e+09 points at scale 1e+09 is larger than 4096 pixels a side.");

  VLErrorRef error = perform(std::make_shared<ChokingAction>());
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), VLExceptionErrorDomain);
  EXPECT_EQ(error->localizedDescription(),
            "The simulated provider's action failed with an exception: std::runtime_error: no name");
}

TEST_F(VLSimulatedService, ValidationServiceAnswersWithTheProvidersOptions) {
  start("alternate-root=Validation,syncing=no,working-set=no");
  auto proxy = proxyFor(root());
  ASSERT_TRUE(proxy);
  auto [allowed, options] = allow(proxy);
  EXPECT_TRUE(allowed);
  ASSERT_TRUE(options.count(KsVaultlineValidationOptionAlternateRootContainer));
  auto alternate = lookup(*options[KsVaultlineValidationOptionAlternateRootContainer].string());
  ASSERT_TRUE(alternate);
  EXPECT_EQ(alternate->filename(), "Validation");
  EXPECT_EQ(alternate->parentItemIdentifier(), KsVaultlineRootContainerItemIdentifier);
  EXPECT_FALSE(options[KsVaultlineValidationOptionIsSyncingProvider].boolValue());
  EXPECT_TRUE(options[VLValidationOptionHasNoWorkingSet].boolValue());

  auto file = importFile("local.txt", "x");
  EXPECT_TRUE(lookup(file->itemIdentifier())->isUploaded()) << "nothing to upload without syncing";
  EXPECT_TRUE(evictThrough(proxyFor(file))) << "a provider that does not sync cannot evict";
}

TEST_F(VLSimulatedService, ConnectionsFailUntilResumedAndServicesCanBeAbsentOrRefuse) {
  auto failed = VLSemaphore::make();
  auto unresumed = proxyFor(root(), false);
  unresumed
      ->remoteObjectProxyWithErrorHandler([failed](VLErrorRef error) {
        if (error) failed->signal();
      })
      ->validation_allowValidation(
          [](bool, const VLValue::Dictionary&) { ADD_FAILURE() << "reply on a dead connection"; });
  EXPECT_TRUE(failed->wait(simtest::kWait));

  start("validation-refused,internal-build=yes");
  EXPECT_TRUE(service->deviceBooleanProperty("InternalBuild"));
  EXPECT_FALSE(allow(proxyFor(root())).first);

  start("no-validation-service");
  EXPECT_FALSE(proxyFor(root()));
}

TEST_F(VLSimulatedService, OlderRevisionOffersOnlyTheOlderInitialisers) {
  start("platform-revision=older");
  EXPECT_FALSE(VLFetchItemOperation::classExists());
  EXPECT_FALSE(VLItemID::instancesRespondTo(VLPlatformCapability::ItemIDWithProviderIdentifier));
  EXPECT_THROW(VLItemID::makeWithProviderDomainID(provider->identifier(), "x"), VLException);
  EXPECT_THROW(manager->newCollectionWithItemID(itemID(KsVaultlineRootContainerItemIdentifier)), VLException);
  EXPECT_THROW(VLCopyOperation::makeWithURLs({}, root()), VLException);
  auto file = importFile("old.txt", "x");  // through makeWithSourceURLs
  ASSERT_TRUE(file);
  EXPECT_EQ(lookup(file->itemIdentifier())->filename(), "old.txt");

  start("domain=work");
  EXPECT_TRUE(VLFetchItemOperation::classExists());
  auto fetch = VLFetchItemOperation::make(
      VLItemID::makeWithProviderDomainID(provider->identifier(), KsVaultlineRootContainerItemIdentifier));
  auto fetched = vl_await<VLItemRef>([&](auto reply) {
    fetch->setFetchCompletionBlock([reply](VLItemRef item, VLErrorRef) { reply(item); });
    manager->scheduleAction(fetch);
  });
  ASSERT_TRUE(fetched);
  EXPECT_EQ(fetched->itemIdentifier(), KsVaultlineRootContainerItemIdentifier);
  auto rootItems = observe(manager->newCollectionWithItemID(itemID(KsVaultlineRootContainerItemIdentifier)));
  EXPECT_EQ(rootItems->events().back().kind, "reload");
}

TEST_F(VLSimulatedService, UninstallingEndsTheServiceAndDropsPendingWork) {
  start("action-latency=60s");
  std::weak_ptr<VLActionOperation> pending;
  {
    auto action = VLSetLastOpenDateOperation::make({}, VLDate::now());
    pending = action;
    manager->scheduleAction(action);
  }
  EXPECT_FALSE(pending.expired()) << "the timer holds the action until its latency has passed";
  VLPlatform::install(nullptr);
  EXPECT_TRUE(service->hasEnded());
  EXPECT_TRUE(pending.expired()) << "an ended service keeps nothing scheduled";
  VLErrorRef error = perform(VLSetLastOpenDateOperation::make({}, VLDate::now()));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->localizedDescription(), "The simulated provider service has ended.");
  EXPECT_THROW(service->install(), VLException);
}

// A program may end while uploads, actions and collection deliveries are still on their
// way; the service's own threads must not run on into state that exit has torn down.
TEST_F(VLSimulatedService, ExitingWithWorkPendingIsClean) {
#ifdef __SANITIZE_THREAD__
  const int runs = 3;  // ThreadSanitizer keeps each program alive a second at exit, watching
#else
  const int runs = 10;
#endif
  for (int run = 0; run < runs; ++run) {
    EXPECT_EXIT(
        {
          start("upload-latency=1ms,collection-latency=1ms,action-latency=1ms");
          observeContainer(KsVaultlineRootContainerItemIdentifier);
          observeContainer(KsVaultlineWorkingSetContainerItemIdentifier);
          std::vector<VLItemRef> files;
          for (int i = 0; i < 8; ++i) files.push_back(importFile("f" + std::to_string(i) + ".txt", "x"));
          for (int i = 0; i < 40; ++i) {
            manager->scheduleAction(VLSetLastOpenDateOperation::make(files, VLDate::now()));
            manager->scheduleAction(VLCreateFolderOperation::make(root(), "d" + std::to_string(i)));
          }
          std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
  }
}

}  // namespace
