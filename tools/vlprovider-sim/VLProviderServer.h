// VLProviderServer: serves one session of the provider protocol for the current platform:
// it reads requests from one descriptor, carries each out through the platform's item
// manager, file services and validation service, and writes answers and collection changes
// to another. Any VLPlatform can stand behind it; vlprovider-sim puts the simulated
// provider service there.
//
// run() reads on the calling thread until the input ends; answers are written from the
// platform's completion threads, one whole line at a time. Made by make(); thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <nlohmann/json.hpp>

#include "Remote/VLRemoteCodec.h"
#include "Remote/VLRemoteMessage.h"
#include "Vaultline/VLItemManager.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLVaultlineService.h"

class VLProviderServerSubscription;

class VLProviderServer : public std::enable_shared_from_this<VLProviderServer> {
 public:
  // Serves `provider` of `platform`, reading from `input` and writing to `output`; with
  // `trace`, every line in and out is copied to standard error.
  static std::shared_ptr<VLProviderServer> make(int input, int output, std::shared_ptr<VLPlatform> platform,
                                                std::shared_ptr<VLProvider> provider, bool trace);

  // Answers requests until the input ends, then ends the session's subscriptions.
  void run();

  // For subscriptions and handlers: writes an answer, an error answer or a notification.
  void reply(const nlohmann::json& id, const nlohmann::json& result);
  void replyError(const nlohmann::json& id, int64_t code, const std::string& message,
                  const nlohmann::json& data = nullptr);
  void notify(const std::string& method, const nlohmann::json& params);
  const VLRemoteCodec& codec() const { return codec_; }

  VLProviderServer(const VLProviderServer&) = delete;
  VLProviderServer& operator=(const VLProviderServer&) = delete;

 private:
  using Handler = void (VLProviderServer::*)(const nlohmann::json& id, const VLRemoteJSONReader& params);

  VLProviderServer(int input, int output, std::shared_ptr<VLPlatform> platform, std::shared_ptr<VLProvider> provider,
                   bool trace);
  void handleLine(std::string_view line);
  void write(const std::string& line);

  // Decodes an item argument (null stands for none).
  VLItemRef item(const VLRemoteJSONReader& params, const std::string& name) const;
  std::vector<VLItemRef> items(const VLRemoteJSONReader& params, const std::string& name) const;
  // Answers {"item": …} or {"error": …}.
  std::function<void(VLItemRef, VLErrorRef)> itemReply(const nlohmann::json& id);
  // Answers {} or {"error": …} when `action` completes, and schedules it.
  void perform(const nlohmann::json& id, const std::shared_ptr<VLActionOperation>& action);

  void initialize(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void rootItem(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void lookup(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void url(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void byPath(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void copy(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void createFolder(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void rename(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void move(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void trash(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void untrash(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void remove(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void setTags(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void setFavoriteRanks(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void setLastUsedDate(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void download(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void evict(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void fetchItem(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void thumbnail(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void subscribe(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void unsubscribe(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void services(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void fileState(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void materialize(const nlohmann::json& id, const VLRemoteJSONReader& params);
  void validationCall(const nlohmann::json& id, const VLRemoteJSONReader& params);

  static const std::map<std::string, Handler>& handlers();

  const int input_, output_;
  const std::shared_ptr<VLPlatform> platform_;
  const std::shared_ptr<VLItemManager> manager_;
  const std::shared_ptr<VLProvider> provider_;
  const VLRemoteCodec codec_;
  const bool trace_;

  std::mutex writeMutex_;  // one whole line at a time
  std::mutex mutex_;
  bool initialized_ = false;                                                        // guarded by mutex_
  std::map<int64_t, std::shared_ptr<VLProviderServerSubscription>> subscriptions_;  // guarded by mutex_
  std::map<std::string, std::shared_ptr<VLVaultlineService>> services_;             // guarded by mutex_
  uint64_t nextService_ = 1;                                                        // guarded by mutex_
  std::string pendingMethod_;  // the method of the request being dispatched (reader thread only)
};
