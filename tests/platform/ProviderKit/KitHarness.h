// A scripted store and a session on it, driven through a socket pair as a host would: the
// test writes lines and waits (on the reader's condition variable, never by sleeping) for the
// lines it expects.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include <nlohmann/json.hpp>

#include "ProviderKit/VLProviderKit.h"
#include "Vaultline/VLConstants.h"
#include "support/TestTimes.h"

// Items in a map; every action the tests need is a direct edit followed by a change report.
class ScriptedStore : public VLProviderStore {
 public:
  std::shared_ptr<VLProviderChanges> changes;
  std::optional<std::chrono::milliseconds> poll;
  std::function<void(const std::string& method)> hook;  // runs inside each store call

  ScriptedStore() { put(root()); }
  static VLItemAttributes attributes(const std::string& id, const std::string& parent, bool folder = false) {
    VLItemAttributes a;
    a.providerIdentifier = a.providerID = "org.example.kit";
    a.itemIdentifier = id, a.parentItemIdentifier = parent, a.filename = a.displayName = id + ".txt";
    a.typeIdentifier = folder ? "public.folder" : "public.plain-text";
    a.isFolder = a.isContainer = folder;
    return a;
  }
  static VLItemRef root() {
    return VLItem::make(
        attributes(KsVaultlineRootContainerItemIdentifier, KsVaultlineRootContainerItemIdentifier, true));
  }
  void put(const VLItemRef& item) {
    std::lock_guard lock(mutex_);
    items_[item->itemIdentifier()] = item;
  }
  void erase(const std::string& id) {
    std::lock_guard lock(mutex_);
    items_.erase(id);
  }
  // Edits the store, then reports `touched` as one change.
  void edit(const std::function<void()>& change, std::vector<std::string> touched) {
    change();
    changes->itemsChanged(std::move(touched));
  }

  void attach(std::shared_ptr<VLProviderChanges> hub) override { changes = std::move(hub); }
  std::optional<std::chrono::milliseconds> pollInterval() const override { return poll; }
  VLProviderIdentity identity() const override {
    return {"org.example.kit", "org.example.kit", "", std::nullopt, false, {}};
  }
  VLStoreItemResult rootItem() override { return lookup(KsVaultlineRootContainerItemIdentifier); }
  VLStoreItemResult lookup(const std::string& id) override {
    called("lookup");
    std::lock_guard lock(mutex_);
    auto found = items_.find(id);
    if (found != items_.end()) return {found->second, nullptr};
    return {nullptr, VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem, "no " + id)};
  }
  VLStoreItemResult itemAtPath(const std::string& path) override { return lookup(path); }
  VLStoreLocation location(const VLItemRef& item, std::optional<bool>) override {
    return {"/x/" + item->itemIdentifier(), false, nullptr};
  }
  VLStoreItemsResult enumerate(const VLProviderScope& scope) override {
    called("enumerate");
    std::vector<VLItemRef> all, members;
    {
      std::lock_guard lock(mutex_);
      if (scope.kind == VLProviderScope::Kind::Container && !items_.count(scope.container)) {
        return {{}, VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem, "no container")};
      }
      for (const auto& [id, item] : items_) all.push_back(item);
    }
    for (const auto& item : all) {
      if (contains(scope, *item)) members.push_back(item);
    }
    return {members, nullptr};
  }
  VLStoreCopyResult importItems(const std::vector<VLStoreSource>&, const VLItemRef&) override { return {}; }
  VLStoreItemResult createFolder(const VLItemRef&, const std::string&) override { return {}; }
  VLErrorRef rename(const VLItemRef&, const std::string&) override { return called("rename"), nullptr; }
  VLStoreMoveResult move(const Items&, const VLItemRef&) override { return {}; }
  VLErrorRef trash(const Items&) override { return nullptr; }
  VLErrorRef untrash(const Items&, const VLItemRef&) override { return nullptr; }
  VLErrorRef remove(const Items&) override { return nullptr; }
  VLErrorRef setTags(const Items&, const std::vector<TagList>&) override { return called("setTags"), nullptr; }
  VLErrorRef setFavoriteRanks(const Items&, const std::vector<int64_t>&) override { return nullptr; }
  VLErrorRef setLastUsedDate(const Items&, VLDate) override { return nullptr; }
  VLStoreItemsResult download(const Items& items) override { return {items, nullptr}; }
  VLErrorRef evict(const Items&) override { return nullptr; }
  VLStoreThumbnail thumbnail(const VLItemRef&, double, double, double) override { return {}; }
  VLStoreFileState fileState(const std::string&) override { return VLStoreFileState::Absent; }
  VLErrorRef materialize(const std::string&) override { return nullptr; }
  VLStoreServicesResult services(const std::string&) override { return {}; }
  VLStoreValidationAnswer allowValidation(const std::string& token) override {
    called("allowValidation");
    return {true, {{"token", token}}, nullptr};
  }
  VLErrorRef evictDocument(const std::string&) override { return nullptr; }
  VLErrorRef shareDocument(const std::string&) override { return nullptr; }

 private:
  void called(const std::string& method) {
    if (hook) hook(method);
  }
  std::mutex mutex_;
  std::map<std::string, VLItemRef> items_;
};

// One session on a store, with the host's end of a socket pair.
class KitHost {
 public:
  using json = nlohmann::json;
  explicit KitHost(std::shared_ptr<VLProviderStore> store) : kit_(VLProviderKit::make(std::move(store))) {
    int fds[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    host_ = fds[0], provider_ = fds[1];
    server_ = std::thread([this] { kit_->serve(provider_, provider_); });
    reader_ = std::thread([this] { readLines(); });
  }
  ~KitHost() {
    ::shutdown(host_, SHUT_WR);  // the session's input ends
    server_.join();
    ::shutdown(provider_, SHUT_RDWR);
    reader_.join();
    ::close(host_), ::close(provider_);
  }
  void sendLine(const std::string& line) {
    std::string framed = line + "\n";
    EXPECT_EQ(::write(host_, framed.data(), framed.size()), static_cast<ssize_t>(framed.size()));
  }
  void send(const json& message) { sendLine(message.dump()); }
  void request(int64_t id, const std::string& method, json params = json::object()) {
    send({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", std::move(params)}});
  }
  void initialize() {
    request(0, "initialize", {{"protocolVersion", 1}, {"host", {{"name", "test"}, {"processID", 1}}}});
    answer(0);
  }
  // Waits for the first message not taken yet that `match` accepts, and takes it.
  json take(const std::function<bool(const json&)>& match, const std::string& what) {
    std::unique_lock lock(mutex_);
    json found = {{"params", json::object()}, {"result", json::object()}};
    bool ok = arrived_.wait_for(lock, std::chrono::duration<double>(kPatience), [&] {
      for (auto it = lines_.begin(); it != lines_.end(); ++it) {
        if (match(*it)) {
          found = std::move(*it);
          lines_.erase(it);
          return true;
        }
      }
      return false;
    });
    EXPECT_TRUE(ok) << "never came: " << what;
    return found;
  }
  json answer(const json& id) {
    return take([&](const json& m) { return m.contains("id") && m["id"] == id; }, "the answer to " + id.dump());
  }
  json notification(const std::string& method, int64_t subscription) {
    return take(
        [&](const json& m) {
          return m.value("method", "") == method && m["params"].value("subscription", -1) == subscription;
        },
        method + " for " + std::to_string(subscription));
  }
  // How many messages arrived that nobody took.
  size_t untaken() {
    std::lock_guard lock(mutex_);
    return lines_.size();
  }

 private:
  void readLines() {
    std::string buffer;
    char chunk[65536];
    for (ssize_t count; (count = ::read(host_, chunk, sizeof chunk)) > 0;) {
      buffer.append(chunk, static_cast<size_t>(count));
      for (size_t end; (end = buffer.find('\n')) != std::string::npos; buffer.erase(0, end + 1)) {
        json message = json::parse(buffer.substr(0, end));  // throws, failing the test, on a bad line
        std::lock_guard lock(mutex_);
        lines_.push_back(std::move(message));
        arrived_.notify_all();
      }
    }
  }
  std::shared_ptr<VLProviderKit> kit_;
  int host_ = -1, provider_ = -1;
  std::thread server_, reader_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<json> lines_;
};
