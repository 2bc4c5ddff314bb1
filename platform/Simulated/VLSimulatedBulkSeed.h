// VLSimulatedBulkSeed: fills a simulated provider with many plain files, so that walks,
// working-set collections and the protocol are exercised at the size of a provider in use.
//
// The files go into folders of at most kFilesPerFolder under a folder "Bulk" in the root;
// every file has a last-used date, so all of them are in the working set. Nothing is made
// on disk at once: a folder's directory, or a file's (empty) bytes and its server copy, are
// written the first time the item's path is used, so that seeding costs no file creations.
//
// Thread-safety: every function needs the store's lock held by the caller.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

class VLSimulatedStore;
struct VLSimulatedNode;

class VLSimulatedBulkSeed {
 public:
  // The most files one seeded folder holds, and the most files a store may be seeded with.
  static constexpr uint64_t kFilesPerFolder = 100;
  static constexpr uint64_t kMaximumItems = 1'000'000;
  // The name of the root folder that holds the seeded folders.
  static const std::string& folderName();

  // Adds `count` files (and their folders) to `store`. Does nothing for a count of 0.
  static void seedLocked(VLSimulatedStore& store, uint64_t count);
  // Makes a seeded folder's directory at `path`, or writes a seeded file's bytes there and
  // its server copy, once; returns at once for any node that is already on disk.
  static void materializeLocked(VLSimulatedStore& store, const VLSimulatedNode& node,
                                const std::filesystem::path& path);
};
