// The remote platform against the reference server, vlprovider-sim, in its own process: the
// library's calls over both transports, and a provider killed in the middle of a run.
#include <gtest/gtest.h>
#include <signal.h>

#include "Remote/VLRemotePlatform.h"
#include "Validations/VLValidationEligibility.h"
#include "support/ProviderDaemon.h"
#include "support/SimulatedHarness.h"

namespace {

using simtest::Event;
using simtest::Recorder;

class VLRemotePlatformTest : public ::testing::Test {
 protected:
  void TearDown() override {
    for (auto& collection : collections) collection->workingQueue()->sync([&] { collection->stopObserving(); });
    VLPlatform::install(nullptr);
  }
  void use(std::shared_ptr<VLRemotePlatform> remote) {
    platform = std::move(remote);
    platform->install();
    manager = platform->defaultItemManager();
  }
  VLErrorRef perform(const std::shared_ptr<VLActionOperation>& action) {
    return vl_await<VLErrorRef>([&](auto reply) {
      action->setActionCompletionBlock(reply);
      manager->scheduleAction(action);
    });
  }
  VLItemRef lookup(const std::string& identifier) {
    return vl_await<VLItemRef>([&](auto reply) {
      manager->fetchItemForItemID(
          VLItemID::makeWithProviderIdentifier(platform->provider()->providerIdentifier(), std::nullopt, identifier),
          [reply](VLItemRef item, VLErrorRef) { reply(item); });
    });
  }
  std::shared_ptr<Recorder> observe(const std::string& container) {
    auto recorder = std::make_shared<Recorder>();
    auto collection =
        manager->collectionWithIdentifier(container, std::nullopt, platform->provider()->providerIdentifier(), {});
    recorders.push_back(recorder);
    collections.push_back(collection);
    collection->reorderItemsWithSortDescriptors({vl_sortDescriptorByModifiedDateDescending()});
    collection->setDelegate(recorder);
    collection->workingQueue()->sync([&] { collection->startObserving(); });
    EXPECT_GE(recorder->waitFor([](const Event& e) { return e.kind == "reload" || e.kind == "error"; }), 0);
    return recorder;
  }
  VLItemRef importFile(const std::string& name, const VLData& contents, const VLItemRef& folder) {
    auto& files = VLFileManager::defaultManager();
    auto url = files.temporaryDirectory().URLByAppendingPathComponent(name, false);
    files.writeData(contents, url, false);
    auto copy = VLCopyOperation::makeWithURLs({url}, folder);
    EXPECT_FALSE(perform(copy));
    auto results = copy->transferResults();
    return results.count(url) ? results[url] : nullptr;
  }

  std::shared_ptr<VLRemotePlatform> platform;
  std::shared_ptr<VLItemManager> manager;
  std::vector<std::shared_ptr<VLItemCollection>> collections;
  std::vector<std::shared_ptr<Recorder>> recorders;
};

TEST_F(VLRemotePlatformTest, CarriesTheLibrarysCallsToAProviderProcess) {
  use(VLRemotePlatform::launch(std::string(VL_PROVIDER_SIM) + " alternate-root=Tests 'upload-latency=0'"));
  auto provider = platform->provider();
  EXPECT_EQ(provider->providerIdentifier(), "net.vaultline.simulated");
  EXPECT_TRUE(vl_await<bool>([&](auto reply) { determineValidationEligibility(provider, reply); }));
  EXPECT_FALSE(provider->hasNoWorkingSet());
  auto folder = lookup(provider->alternateRootContainer());
  ASSERT_TRUE(folder);
  EXPECT_EQ(folder->filename(), "Tests");

  auto recorder = observe(folder->itemIdentifier());
  auto picture = VLImageCodec::encodeJPEG(VLBitmap(8, 8));
  auto file = importFile("picture.jpeg", picture, folder);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->typeIdentifier(), "public.jpeg");
  EXPECT_GE(recorder->waitFor("insert", "picture.jpeg"), 0);
  EXPECT_GE(recorder->waitFor([](const Event& e) { return e.kind == "update" && e.item && e.item->isUploaded(); }), 0);

  // The local copy is read where the provider keeps it; a second copy of the name collides.
  auto url = vl_await<std::optional<VLURL>>([&](auto reply) {
    manager->fetchURLForItem(file, false, [reply](std::optional<VLURL> url, VLErrorRef) { reply(url); });
  });
  ASSERT_TRUE(url);
  std::optional<VLData> read;
  EXPECT_TRUE(platform->coordinateReading(
      *url, nullptr, [&](const VLURL& at) { read = VLFileManager::defaultManager().contentsAtURL(at); }));
  EXPECT_TRUE(read && *read == picture);
  auto again = VLCopyOperation::makeWithURLs(
      {VLFileManager::defaultManager().temporaryDirectory().URLByAppendingPathComponent("picture.jpeg", false)},
      folder);
  auto collision = perform(again);
  ASSERT_TRUE(collision);
  EXPECT_EQ(collision->code(), VLVaultlineErrorFilenameCollision);
  auto existing = collision->userInfo().at(KsVaultlineErrorItem).objectAs<VLItem>();
  ASSERT_TRUE(existing);
  EXPECT_EQ(existing->itemIdentifier(), file->itemIdentifier());

  // Evicted through the validation service, the item's place holds a placeholder.
  auto evicted = vl_await<VLErrorRef>([&](auto reply) {
    performWithValidationProxy(provider, [&, reply](std::shared_ptr<VLRemoteObjectProxy> rootProxy) {
      ASSERT_TRUE(rootProxy);
      platform->getVaultlineServicesForItemAtURL(*url, [reply](const VLVaultlineServices& services, VLErrorRef) {
        auto service = services.at(KsVaultlineValidationServiceV1Name);
        service->getVaultlineConnectionWithCompletionHandler([reply](auto connection, VLErrorRef) {
          connection->setRemoteObjectInterface(KsVaultlineValidationServiceV1ProtocolName);
          connection->resume();
          connection->remoteObjectProxy()->validation_evictDocumentWithCompletionHandler(reply);
        });
      });
    });
  });
  EXPECT_FALSE(evicted);
  auto placeholder = vl_await<std::optional<VLURL>>([&](auto reply) {
    manager->fetchURLForItem(file, true, [reply](std::optional<VLURL> url, VLErrorRef) { reply(url); });
  });
  ASSERT_TRUE(placeholder);
  EXPECT_FALSE(platform->checkResourceIsReachable(*placeholder, nullptr));
  EXPECT_TRUE(platform->checkPromisedItemIsReachable(*placeholder, nullptr));

  // A thumbnail comes back as an image.
  auto operation = manager->thumbnailsFetchOperationForItems({file}, {50, 50}, 1.0);
  auto format = vl_await<std::string>([&](auto reply) {
    operation->setPerThumbnailCompletionBlock(
        [reply](const VLItemRef&, const std::optional<VLData>& data, const std::string& format, const VLErrorRef&) {
          reply(data && VLImageCodec::decode(*data) ? format : "");
        });
    VLOperationQueue::make()->addOperation(operation);
  });
  EXPECT_EQ(format, VLThumbnailFormatUndecorated);
}

TEST_F(VLRemotePlatformTest, AProviderDaemonKilledMidRunFailsEverythingAtOnce) {
  support::ProviderDaemon server(VL_PROVIDER_SIM, "platform-revision=older");
  use(VLRemotePlatform::connectToSocket(server.path()));
  EXPECT_FALSE(platform->offers(VLPlatformCapability::CopyWithURLs));
  auto root = vl_await<VLItemRef>([&](auto reply) {
    manager->fetchRootItemForProvider(platform->provider(), [reply](VLItemRef item, VLErrorRef) { reply(item); });
  });
  ASSERT_TRUE(root);
  auto recorder = observe(root->itemIdentifier());
  server.kill(SIGKILL);
  EXPECT_GE(recorder->waitFor([](const Event& e) { return e.kind == "error"; }), 0);
  auto failed = perform(VLTrashOperation::make({root}));
  ASSERT_TRUE(failed);
  EXPECT_EQ(failed->code(), VLProviderProtocolErrorGone);
  EXPECT_EQ(failed->localizedDescription(), "The provider unix:" + server.path() + " closed the connection.");
}

}  // namespace
