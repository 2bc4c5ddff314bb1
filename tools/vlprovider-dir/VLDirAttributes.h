// VLDirAttributes: the `user.` extended attributes in which vlprovider-dir keeps what a file
// system cannot hold by itself: each item's identifier (with the inode it was given to, so
// that a copy carrying the attribute along is told apart from the original), its tags,
// favourite rank, last-used date and, while trashed, the folder it came from.
// Stateless; every function is safe from any thread.
#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

class VLDirAttributes {
 public:
  static constexpr const char* kIdentifier = "user.vaultline.id";
  static constexpr const char* kInode = "user.vaultline.inode";
  static constexpr const char* kTags = "user.vaultline.tags";
  static constexpr const char* kFavoriteRank = "user.vaultline.rank";
  static constexpr const char* kLastUsedDate = "user.vaultline.lastused";
  static constexpr const char* kTrashedFrom = "user.vaultline.trashedfrom";

  // Returns the attribute `name` of the file at `path` (not following a symbolic link), or
  // none when it is not set or cannot be read.
  static std::optional<std::string> get(const std::string& path, const char* name);
  // Sets the attribute; returns false (errno set) when the file system refuses.
  static bool set(const std::string& path, const char* name, const std::string& value);
  // Removes the attribute; an attribute that was not set counts as removed.
  static bool remove(const std::string& path, const char* name);

  // Throws VLException naming the file system (its statfs type, by name where known) when
  // `directory` does not take `user.` attributes, so a provider stops at start rather than
  // losing identifiers later.
  static void requireSupport(const std::string& directory);
  // Returns the name of the file system type that holds `path` ("ext4", "tmpfs", "0x6969").
  static std::string fileSystemName(const std::string& path);
};
