// VLStorePlaceholders: local copies and placeholders on disk, the way the kit's default
// fileState() reads them: the placeholder of the file that belongs at DIR/NAME is the empty
// hidden file DIR/.NAME.placeholder. A syncing store that evicts files can use these instead
// of choosing a representation of its own.
#pragma once

#include <optional>
#include <string>

#include "ProviderKit/VLProviderStore.h"

class VLStorePlaceholders {
 public:
  // Where the placeholder of the file at `path` is kept.
  static std::string placeholderOf(const std::string& path);
  // What is at `path`: the content, a placeholder, or nothing.
  static VLStoreFileState stateOf(const std::string& path);
  // The answer to items.url for the item whose local copy belongs at `path` (see
  // VLProviderStore::location): with `creating` true, a file that has neither content nor a
  // placeholder there gets a placeholder first.
  static VLStoreLocation locate(const std::string& path, bool isDirectory, std::optional<bool> creating);
  // Replaces the content at `path` with a placeholder (eviction).
  static void evict(const std::string& path);
  // Writes `content` at `path` and removes its placeholder (a download).
  static void restore(const std::string& path, const std::string& content);
  // Moves the content or the placeholder at `from` to `to`.
  static void move(const std::string& from, const std::string& to);
  // Removes the content (a whole tree) and the placeholder at `path`.
  static void remove(const std::string& path);
};
