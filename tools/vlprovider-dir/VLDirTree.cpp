#include "VLDirTree.h"

VLDirNode* VLDirTree::find(const std::string& identifier) {
  auto found = nodes_.find(identifier);
  return found == nodes_.end() ? nullptr : &found->second;
}

const VLDirNode* VLDirTree::find(const std::string& identifier) const {
  auto found = nodes_.find(identifier);
  return found == nodes_.end() ? nullptr : &found->second;
}

VLDirNode& VLDirTree::add(VLDirNode node) {
  std::string identifier = node.identifier;
  auto [where, added] = nodes_.insert_or_assign(identifier, std::move(node));
  if (where->second.parent != identifier) link(where->second);
  return where->second;
}

void VLDirTree::link(const VLDirNode& node) { children_[node.parent].emplace(fold(node.name), node.identifier); }

void VLDirTree::unlink(const VLDirNode& node) {
  auto names = children_.find(node.parent);
  if (names == children_.end()) return;
  auto [first, last] = names->second.equal_range(fold(node.name));
  for (auto it = first; it != last; ++it) {
    if (it->second == node.identifier) {
      names->second.erase(it);
      break;
    }
  }
  if (names->second.empty()) children_.erase(names);
}

void VLDirTree::relink(const std::string& identifier, const std::string& parent, const std::string& name) {
  VLDirNode* node = find(identifier);
  if (!node) return;
  unlink(*node);
  node->parent = parent;
  node->name = name;
  link(*node);
}

std::vector<std::string> VLDirTree::remove(const std::string& identifier) {
  std::vector<std::string> removed;
  VLDirNode* node = find(identifier);
  if (!node) return removed;
  removed.push_back(identifier);
  for (const std::string& below : descendants(identifier)) removed.push_back(below);
  if (node->parent != identifier) unlink(*node);
  for (const std::string& gone : removed) {
    children_.erase(gone);
    nodes_.erase(gone);
  }
  return removed;
}

VLDirNode* VLDirTree::child(const std::string& parent, const std::string& name) {
  auto names = children_.find(parent);
  if (names == children_.end()) return nullptr;
  auto [first, last] = names->second.equal_range(fold(name));
  for (auto it = first; it != last; ++it) {
    VLDirNode* node = find(it->second);
    if (node && node->name == name) return node;
  }
  return nullptr;
}

VLDirNode* VLDirTree::collision(const std::string& parent, const std::string& name, const std::string& except) {
  auto names = children_.find(parent);
  if (names == children_.end()) return nullptr;
  auto [first, last] = names->second.equal_range(fold(name));
  for (auto it = first; it != last; ++it) {
    if (it->second != except) return find(it->second);
  }
  return nullptr;
}

std::vector<std::string> VLDirTree::children(const std::string& parent) const {
  std::vector<std::string> result;
  auto names = children_.find(parent);
  if (names == children_.end()) return result;
  result.reserve(names->second.size());
  for (const auto& [folded, identifier] : names->second) result.push_back(identifier);
  return result;
}

size_t VLDirTree::childCount(const std::string& parent) const {
  auto names = children_.find(parent);
  return names == children_.end() ? 0 : names->second.size();
}

void VLDirTree::forEach(const std::function<void(const VLDirNode&)>& visit) const {
  for (const auto& [identifier, node] : nodes_) visit(node);
}

std::vector<std::string> VLDirTree::descendants(const std::string& identifier) const {
  std::vector<std::string> result;
  std::vector<std::string> pending{identifier};
  while (!pending.empty()) {
    std::string folder = std::move(pending.back());
    pending.pop_back();
    for (const std::string& child : children(folder)) {
      result.push_back(child);
      pending.push_back(child);
    }
  }
  return result;
}

bool VLDirTree::isInsideTrashedFolder(const std::string& identifier) const {
  const VLDirNode* node = find(identifier);
  const VLDirNode* up = node ? find(node->parent) : nullptr;
  while (up && up->parent != up->identifier) {
    const VLDirNode* above = find(up->parent);
    if (above && above->kind == VLDirNode::Trash) return true;
    up = above;
  }
  return false;
}

bool VLDirTree::isWithin(const std::string& identifier, const std::string& ancestor) const {
  const VLDirNode* node = find(identifier);
  while (node) {
    if (node->identifier == ancestor) return true;
    if (node->parent == node->identifier) return false;
    node = find(node->parent);
  }
  return false;
}

std::string VLDirTree::relativePath(const std::string& identifier, std::string* top) const {
  std::string path;
  const VLDirNode* node = find(identifier);
  while (node && node->kind != VLDirNode::Root && node->kind != VLDirNode::Trash) {
    path = path.empty() ? node->name : node->name + "/" + path;
    node = find(node->parent);
  }
  if (top) *top = node ? node->identifier : std::string();
  return path;
}

std::string VLDirTree::fold(const std::string& name) {
  std::string folded = name;
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return folded;
}
