// VLDirTrash: the freedesktop.org trash layout of one top directory: `.Trash-UID/files`
// holds the trashed items, `.Trash-UID/info/NAME.trashinfo` where each came from and when.
// Only names and info files are handled here; moving the items is the store's.
// Holds no mutable state; safe from any thread (the file system arbitrates names).
#pragma once

#include <optional>
#include <string>

class VLDirTrash {
 public:
  // The trash of the top directory `root` (an absolute path without a trailing slash).
  explicit VLDirTrash(std::string root);

  // Returns ".Trash-UID" for the current user: the name hidden from enumeration at the top.
  static std::string folderName();
  // Creates the trash folders (mode 0700) if they are missing; returns false when it cannot.
  bool prepare() const;
  const std::string& filesFolder() const { return files_; }
  const std::string& infoFolder() const { return info_; }

  // Reserves a free name in `files` for an item whose path relative to the top directory is
  // `relativePath`, by creating its info file exclusively (so two trashings never take one
  // name), and returns it; none when no info file could be written.
  std::optional<std::string> reserve(const std::string& relativePath) const;
  // Returns the path relative to the top directory that the item trashed as `trashName`
  // came from, read from its info file; none when the file is missing or unreadable.
  std::optional<std::string> originalPath(const std::string& trashName) const;
  // Removes the info file of `trashName` (after a restore or a deletion).
  void forget(const std::string& trashName) const;

  // Percent-encodes a path as info files hold it (every byte but unreserved ones and '/').
  static std::string encodePath(const std::string& path);
  // Decodes a percent-encoded path; malformed escapes are kept as they are.
  static std::string decodePath(const std::string& text);

 private:
  std::string infoPath(const std::string& trashName) const { return info_ + "/" + trashName + ".trashinfo"; }

  std::string root_;
  std::string files_;
  std::string info_;
};
