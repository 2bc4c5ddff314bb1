// VLProviderKitSession: one session of the provider protocol served on a store: it reads
// requests from one descriptor, answers each on the shared background queue (so requests run
// concurrently and are answered in any order), and writes answers and collection changes to
// another, one whole line at a time.
//
// Subscriptions, unsubscriptions and the store's change reports are handled in order on the
// session's own serial queue, so a subscription hears only of changes after its answer.
// run() reads on the calling thread until the input ends. Made by make(); thread-safe.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include <nlohmann/json.hpp>

#include "Dispatch/VLDispatchQueue.h"
#include "ProviderKit/VLProviderChanges.h"
#include "ProviderKit/VLProviderKitEncoder.h"
#include "ProviderKit/VLProviderStore.h"
#include "Remote/VLRemoteCodec.h"
#include "Remote/VLRemoteJSONReader.h"

class VLProviderKitSubscription;

class VLProviderKitSession : public std::enable_shared_from_this<VLProviderKitSession> {
 public:
  // Serves `store`, reading from `input` and writing to `output`; with `trace`, every line in
  // and out is copied to standard error.
  static std::shared_ptr<VLProviderKitSession> make(int input, int output, std::shared_ptr<VLProviderStore> store,
                                                    std::shared_ptr<VLProviderChanges> changes, bool trace);

  // Answers requests until the input ends, then closes the session's subscriptions and waits
  // for the answers still being worked out.
  void run();

  // For subscriptions: `result` and `params` are JSON object texts.
  void reply(const std::string& id, const std::string& result);
  void notify(const char* method, const std::string& params);
  // Ends subscription `number` (after its failure) without reporting anything more.
  void drop(int64_t number);
  const VLProviderKitEncoder& encoder() const { return encoder_; }
  VLProviderStore& store() const { return *store_; }

  VLProviderKitSession(const VLProviderKitSession&) = delete;
  VLProviderKitSession& operator=(const VLProviderKitSession&) = delete;

 private:
  // A handler returns the result object's text, or throws.
  using Handler = std::string (VLProviderKitSession::*)(const VLRemoteJSONReader& params);

  VLProviderKitSession(int input, int output, std::shared_ptr<VLProviderStore> store,
                       std::shared_ptr<VLProviderChanges> changes, bool trace);
  void handleLine(std::string_view line);
  void write(const std::string& line);
  void replyError(const std::string& id, int64_t code, const std::string& message, const std::string& data = "");
  // Runs `handler` on the background queue and answers request `id` with what it returns.
  void dispatch(const std::string& id, Handler handler, std::shared_ptr<nlohmann::json> params);
  void initialize(const std::string& id, const VLRemoteJSONReader& params);
  void subscribe(const std::string& id, const VLRemoteJSONReader& params);
  void unsubscribe(const VLRemoteJSONReader& params);
  // On the serial queue: hands one change report to every open subscription.
  void applyChanges(const std::vector<std::string>& identifiers, bool everything);
  void pollLoop(std::chrono::milliseconds interval);
  void finish();

  VLItemRef item(const VLRemoteJSONReader& params, const char* name) const;
  VLProviderStore::Items items(const VLRemoteJSONReader& params, const char* name) const;
  std::string itemResult(const VLStoreItemResult& result) const;
  std::string errorResult(const VLErrorRef& error) const;
  std::string itemsArray(const std::vector<VLItemRef>& items) const;

  // The methods, in the order of the protocol document.
  std::string rootItem(const VLRemoteJSONReader& params);
  std::string lookup(const VLRemoteJSONReader& params);
  std::string location(const VLRemoteJSONReader& params);
  std::string byPath(const VLRemoteJSONReader& params);
  std::string copy(const VLRemoteJSONReader& params);
  std::string createFolder(const VLRemoteJSONReader& params);
  std::string rename(const VLRemoteJSONReader& params);
  std::string move(const VLRemoteJSONReader& params);
  std::string trash(const VLRemoteJSONReader& params);
  std::string untrash(const VLRemoteJSONReader& params);
  std::string remove(const VLRemoteJSONReader& params);
  std::string setTags(const VLRemoteJSONReader& params);
  std::string setFavoriteRanks(const VLRemoteJSONReader& params);
  std::string setLastUsedDate(const VLRemoteJSONReader& params);
  std::string download(const VLRemoteJSONReader& params);
  std::string evict(const VLRemoteJSONReader& params);
  std::string fetchItem(const VLRemoteJSONReader& params);
  std::string thumbnail(const VLRemoteJSONReader& params);
  std::string services(const VLRemoteJSONReader& params);
  std::string fileState(const VLRemoteJSONReader& params);
  std::string materialize(const VLRemoteJSONReader& params);
  std::string allowValidation(const VLRemoteJSONReader& params);
  std::string evictDocument(const VLRemoteJSONReader& params);
  std::string shareDocument(const VLRemoteJSONReader& params);
  static const std::map<std::string, Handler, std::less<>>& handlers();

  const int input_, output_;
  const std::shared_ptr<VLProviderStore> store_;
  const std::shared_ptr<VLProviderChanges> changes_;
  const VLProviderIdentity identity_;
  const VLRemoteCodec codec_;  // decodes item arguments
  const VLProviderKitEncoder encoder_;
  const bool trace_;
  const std::shared_ptr<VLDispatchQueue> queue_;  // subscriptions and change reports, in order

  std::mutex writeMutex_;  // one whole line at a time
  std::mutex mutex_;
  std::condition_variable idle_;
  bool initialized_ = false;                                                     // guarded by mutex_
  bool ended_ = false;                                                           // guarded by mutex_
  int inFlight_ = 0;                                                             // guarded by mutex_
  std::map<int64_t, std::shared_ptr<VLProviderKitSubscription>> subscriptions_;  // guarded by mutex_
  std::shared_ptr<void> listening_;                                              // guarded by mutex_
  std::thread poller_;  // started by initialize, joined by finish
};
