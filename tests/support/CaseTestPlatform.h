// CaseTestPlatform: a platform double for the case tests. It answers the validation-service
// road (root item, URL, services, connection, allow-validation reply) as the test chose,
// hands out recording collections that reload once when observed, and completes scheduled
// actions later on a background thread, or holds them until released.
// Every answer arrives later on a background thread, never inside the call.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Vaultline/Vaultline.h"

// A collection that records how it was made and used, and reloads with its items on start.
class CaseTestCollection : public VLItemCollection {
 public:
  std::string origin;                              // "itemID", "identifier" or "provider"
  std::shared_ptr<const VLItemID> itemID;          // for "itemID"
  std::vector<std::string> parts;                  // identifier, domain, provider; or the provider ID
  std::vector<VLItemRef> contents;

  void startObserving() override;
  void stopObserving() override;
  std::vector<VLItemRef> items() const override { return contents; }
  void reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) override;

  // What happened, read after the case finished.
  std::vector<VLSortDescriptor> sortDescriptors() const;
  bool sortedOnWorkingQueue() const;
  int starts() const;
  int stops() const;
  bool observedOnWorkingQueue() const;

 private:
  mutable std::mutex mutex_;
  std::vector<VLSortDescriptor> sort_;  // guarded by mutex_
  bool sortedOnQueue_ = false;         // guarded by mutex_
  int starts_ = 0, stops_ = 0;         // guarded by mutex_
  bool onQueue_ = true;                // guarded by mutex_
};

class CaseTestPlatform : public VLPlatform, public std::enable_shared_from_this<CaseTestPlatform> {
 public:
  // What the validation service answers.
  struct Service {
    bool present = true;
    VLErrorRef connectionError = nullptr;
    bool connectionFails = false;  // the allow call goes to the error handler
    bool allowed = true;
    VLValue::Dictionary options = {};
  };

  // Makes the platform (offering every revision-dependent operation) and installs it.
  static std::shared_ptr<CaseTestPlatform> install();

  void setOffers(VLPlatformCapability capability, bool offered);
  void setInternalBuild(bool internal) { internal_ = internal; }
  void setRootError(VLErrorRef error) { rootError_ = std::move(error); }
  void setURLError(VLErrorRef error) { urlError_ = std::move(error); }
  void setServicesError(VLErrorRef error) { servicesError_ = std::move(error); }
  void setService(Service service) { service_ = std::move(service); }
  const Service& service() const { return service_; }
  // While set, scheduled actions wait for releaseActions().
  void setHoldActions(bool hold);
  // Completes every held action successfully.
  void releaseActions();
  std::vector<std::shared_ptr<VLActionOperation>> scheduledActions();
  std::vector<std::shared_ptr<CaseTestCollection>> collections();
  void addCollection(std::shared_ptr<CaseTestCollection> collection);

  std::shared_ptr<VLItemManager> defaultItemManager() override { return manager_; }
  bool offers(VLPlatformCapability capability) const override;
  void getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion) override;
  bool checkPromisedItemIsReachable(const VLURL&, VLErrorRef*) override { return false; }
  const VLTypeDatabase& typeDatabase() const override { return types_; }
  bool deviceBooleanProperty(const std::string& name) const override { return name == "InternalBuild" && internal_; }

  class Manager;
  friend class Manager;

 private:
  // Configuration: set by the test before it starts the work under test.
  bool internal_ = false;
  VLErrorRef rootError_, urlError_, servicesError_;
  Service service_;
  std::set<VLPlatformCapability> missing_;
  std::shared_ptr<VLItemManager> manager_;
  VLTypeDatabase types_;

  std::mutex mutex_;
  bool hold_ = false;                                        // guarded by mutex_
  std::vector<std::shared_ptr<VLActionOperation>> actions_;   // guarded by mutex_
  std::vector<std::shared_ptr<VLActionOperation>> held_;      // guarded by mutex_
  std::vector<std::shared_ptr<CaseTestCollection>> collections_;  // guarded by mutex_
};
