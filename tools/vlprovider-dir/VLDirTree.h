// VLDirTree: the provider's index of the items under its folder: one node per item, keyed by
// identifier, with each folder's children by name. It knows nothing of the disk: the store
// keeps it true to the disk and owns it (the store's mutex guards every call).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <sys/types.h>

// One item as the index keeps it: where it is, and the attributes read from the disk when it
// was last looked at.
struct VLDirNode {
  enum Kind { Root, Trash, Folder, File, Package };
  std::string identifier;
  std::string parent;      // the root names itself; trashed items name the trash
  std::string name;        // the entry's name on disk
  std::string shownName;   // trashed items: the name before trashing (the name on disk may differ)
  Kind kind = File;
  ino_t inode = 0;
  int64_t size = 0;
  double created = 0;
  double modified = 0;
  std::string tags;        // the tags as JSON text, or empty for none
  std::optional<int64_t> favoriteRank;
  std::optional<double> lastUsedDate;
  int watch = -1;          // folders: the inotify watch, -1 when not watched

  bool isContainer() const { return kind == Root || kind == Trash || kind == Folder; }
  // Returns the name users see: the name before trashing while trashed, else the name on disk.
  const std::string& filename() const { return shownName.empty() ? name : shownName; }
  // Returns whether the item carries a tag, a favourite rank or a last-used date.
  bool hasWorkingSetAttributes() const { return !tags.empty() || favoriteRank || lastUsedDate; }
};

class VLDirTree {
 public:
  // Returns the node with that identifier, or nullptr.
  VLDirNode* find(const std::string& identifier);
  const VLDirNode* find(const std::string& identifier) const;
  // Adds a node under its parent (which must be in the tree, unless the node names itself).
  VLDirNode& add(VLDirNode node);
  // Puts the node under `parent` as `name`; its children go with it.
  void relink(const std::string& identifier, const std::string& parent, const std::string& name);
  // Removes the node and everything below it; returns the identifiers removed, the node first.
  std::vector<std::string> remove(const std::string& identifier);

  // Returns the child of `parent` named exactly `name`, or nullptr.
  VLDirNode* child(const std::string& parent, const std::string& name);
  // Returns a child of `parent` whose name equals `name` regardless of letter case, other than
  // `except`, or nullptr: the item a new name would collide with.
  VLDirNode* collision(const std::string& parent, const std::string& name, const std::string& except = "");
  // Returns the identifiers of the children of `parent`.
  std::vector<std::string> children(const std::string& parent) const;
  // Returns how many children `parent` has.
  size_t childCount(const std::string& parent) const;
  // Calls `visit` for every node, in no particular order.
  void forEach(const std::function<void(const VLDirNode&)>& visit) const;
  // Returns the identifiers of every node below `identifier` (not itself).
  std::vector<std::string> descendants(const std::string& identifier) const;
  // Returns whether the node lies inside a trashed folder: below an item whose parent is the
  // trash (a trashed item itself does not).
  bool isInsideTrashedFolder(const std::string& identifier) const;
  // Returns whether `identifier` is `ancestor` or lies below it.
  bool isWithin(const std::string& identifier, const std::string& ancestor) const;
  // Returns the path of the node's entry relative to the root node's or the trash node's
  // folder, and which of the two it lies in (its top node's identifier).
  std::string relativePath(const std::string& identifier, std::string* top = nullptr) const;

  // Returns `name` with ASCII letters in lower case: names equal after folding collide.
  static std::string fold(const std::string& name);

 private:
  using Names = std::multimap<std::string, std::string>;  // folded name → identifier
  void link(const VLDirNode& node);
  void unlink(const VLDirNode& node);

  std::unordered_map<std::string, VLDirNode> nodes_;
  std::unordered_map<std::string, Names> children_;
};
