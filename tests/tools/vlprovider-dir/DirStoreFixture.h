// DirStoreFixture: a VLDirStore over a fresh private folder, reopened at will (a restart), with
// a log of the changes it reports that a test waits on instead of sleeping.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <set>
#include <string>

#include "Vaultline/VLConstants.h"
#include "support/TestTimes.h"
#include "vlprovider-dir/VLDirStore.h"

class DirStoreFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "vlprovider-dir-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    top_ = pattern;
    root_ = top_ + "/root";
    sources_ = top_ + "/sources";
    std::filesystem::create_directories(root_);
    std::filesystem::create_directories(sources_);
    open();
  }
  void TearDown() override {
    store_.reset();
    std::filesystem::remove_all(top_);
  }

  // Opens (or, after close(), reopens) the store over the folder.
  void open() {
    store_ = VLDirStore::open(root_, "org.example.dir");
    store_->setChangeHandler([this](const std::vector<std::string>& identifiers, bool) {
      std::lock_guard lock(mutex_);
      for (const auto& identifier : identifiers) heard_.insert(identifier);
      ++reports_;
      changed_.notify_all();
    });
  }
  void close() { store_.reset(); }

  // Waits until `condition` holds, looking again after each change the store reports.
  bool waitUntil(const std::function<bool()>& condition) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(kPatience);
    std::unique_lock lock(mutex_);
    for (;;) {
      size_t seen = reports_;
      lock.unlock();
      if (condition()) return true;
      lock.lock();
      if (!changed_.wait_until(lock, deadline, [&] { return reports_ != seen; })) return false;
    }
  }
  bool heard(const std::string& identifier) {
    std::lock_guard lock(mutex_);
    return heard_.count(identifier) > 0;
  }
  void forgetHeard() {
    std::lock_guard lock(mutex_);
    heard_.clear();
  }

  // Writes a file to import from, outside the served folder.
  std::string source(const std::string& name, const std::string& contents = "Hello") {
    std::string path = sources_ + "/" + name;
    std::ofstream(path, std::ios::binary) << contents;
    return path;
  }
  VLItemRef import(const std::string& name, const std::string& into = KsVaultlineRootContainerItemIdentifier) {
    VLErrorRef error;
    auto item = store_->importItem(source(name), false, into, &error);
    EXPECT_TRUE(item) << (error ? error->description() : "no item");
    return item;
  }
  VLItemRef folder(const std::string& name, const std::string& into = KsVaultlineRootContainerItemIdentifier) {
    VLErrorRef error;
    auto item = store_->createFolder(into, name, &error);
    EXPECT_TRUE(item) << (error ? error->description() : "no item");
    return item;
  }
  VLItemRef at(const std::string& relative) { return store_->itemAtPath(root_ + "/" + relative); }
  // Runs a shell command as another program would.
  static void shell(const std::string& command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; }

  std::string top_, root_, sources_;
  std::shared_ptr<VLDirStore> store_;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::set<std::string> heard_;  // guarded by mutex_
  size_t reports_ = 0;           // guarded by mutex_
};
