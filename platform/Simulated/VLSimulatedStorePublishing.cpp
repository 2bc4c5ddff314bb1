#include <algorithm>

#include "Simulated/VLSimulatedCollection.h"
#include "Simulated/VLSimulatedStore.h"

// Publishing to collections: which items each collection's scope shows, and handing every
// observing collection its items after a change.

namespace {

const std::string& kWrongParent = *new std::string("SimulatedWrongParent");

}  // namespace

bool VLSimulatedStore::inWorkingSetLocked(VLSimulatedNode& node) {
  if (node.kind == VLSimulatedNode::Kind::Root) return false;
  if (node.tags.empty() && !node.favoriteRank && !node.lastUsedDate) return false;
  if (node.trashed || quirks().keepsTrashedChildrenInWorkingSet()) return true;
  return !isInTrashLocked(node);
}

std::optional<std::vector<VLSimulatedStore::Entry>> VLSimulatedStore::entriesLocked(
    const VLSimulatedCollection& collection) {
  using ScopeKind = VLSimulatedCollection::ScopeKind;
  const auto& scope = collection.scope();
  std::vector<Entry> entries;
  auto add = [&](VLSimulatedNode& node) { entries.push_back({snapshotLocked(node), node.revision}); };
  switch (scope.kind) {
    case ScopeKind::Unavailable: return std::nullopt;
    case ScopeKind::Container: {
      if (scope.identifier == VLSimulatedTrashContainerIdentifier) {
        for (const auto& child : childrenLocked(scope.identifier)) add(*nodeLocked(child));
        return entries;
      }
      VLSimulatedNode* container = nodeLocked(scope.identifier);
      if (!container || !container->isContainer()) return std::nullopt;
      for (const auto& child : childrenLocked(container->identifier)) add(*nodeLocked(child));
      if (quirks().showsMoveOutAsUpdate()) {
        for (auto& [identifier, node] : nodes_) {
          if (node->formerParent == container->identifier) add(*node);
        }
      }
      return entries;
    }
    case ScopeKind::WorkingSet:
    case ScopeKind::Provider:
      for (auto& [identifier, node] : nodes_) {
        if (inWideScopeLocked(collection, *node)) add(*node);
      }
      return entries;
  }
  return std::nullopt;
}

bool VLSimulatedStore::inWideScopeLocked(const VLSimulatedCollection& collection, VLSimulatedNode& node) {
  switch (collection.scope().kind) {
    case VLSimulatedCollection::ScopeKind::WorkingSet: return inWorkingSetLocked(node);
    case VLSimulatedCollection::ScopeKind::Provider:
      return node.kind != VLSimulatedNode::Kind::Root && (node.trashed || !isInTrashLocked(node));
    default: return false;
  }
}

void VLSimulatedStore::postChangesLocked(VLSimulatedCollection& collection) {
  std::vector<Entry> candidates;
  std::vector<std::string> gone;
  for (const auto& identifier : changed_) {
    auto found = nodes_.find(identifier);
    VLSimulatedNode* node = found == nodes_.end() ? nullptr : found->second.get();
    if (node && inWideScopeLocked(collection, *node)) {
      candidates.push_back({snapshotLocked(*node), node->revision});
    } else {
      gone.push_back(identifier);
    }
  }
  collection.postChanges(std::move(candidates), gone);
}

std::optional<VLSimulatedStore::Entry> VLSimulatedStore::observedEntryLocked(const VLSimulatedCollection& collection) {
  if (collection.scope().kind != VLSimulatedCollection::ScopeKind::Container) return std::nullopt;
  VLSimulatedNode* container = nodeLocked(collection.scope().identifier);
  if (!container) return std::nullopt;
  return Entry{snapshotLocked(*container), container->revision};
}

void VLSimulatedStore::postLocked(VLSimulatedCollection& collection, bool reload) {
  if (quirks().folderEnumerationHangs() && collection.scope().kind == VLSimulatedCollection::ScopeKind::Container) {
    VLSimulatedNode* container = nodeLocked(collection.scope().identifier);
    if (container && container->kind == VLSimulatedNode::Kind::Folder) return;
  }
  auto entries = entriesLocked(collection);
  if (entries && reload && quirks().enumerationNamesWrongParent()) {
    for (auto& entry : *entries) {
      VLItemAttributes a = entry.item->attributes();
      a.parentItemIdentifier = kWrongParent;
      entry.item = VLItem::make(std::move(a));
    }
  }
  collection.post(std::move(entries), observedEntryLocked(collection), reload);
}

void VLSimulatedStore::publishLocked() {
  std::vector<std::weak_ptr<VLSimulatedCollection>> live;
  for (auto& weak : collections_) {
    auto collection = weak.lock();
    if (!collection || !collection->isObserving()) continue;
    auto kind = collection->scope().kind;
    bool wide = kind == VLSimulatedCollection::ScopeKind::WorkingSet || kind == VLSimulatedCollection::ScopeKind::Provider;
    // A wide scope would cost a pass over every node for each change; it looks at the changed
    // ones instead (once it has a listing to change).
    if (wide && collection->hasPosted()) {
      postChangesLocked(*collection);
    } else {
      postLocked(*collection, false);
    }
    live.push_back(weak);
  }
  collections_ = std::move(live);
  changed_.clear();
}

void VLSimulatedStore::startPublishing(const std::shared_ptr<VLSimulatedCollection>& collection) {
  std::lock_guard guard(mutex_);
  bool known = std::any_of(collections_.begin(), collections_.end(),
                           [&](const auto& weak) { return weak.lock() == collection; });
  if (!known) collections_.push_back(collection);
  postLocked(*collection, true);
}

void VLSimulatedStore::republish(const std::shared_ptr<VLSimulatedCollection>& collection) {
  std::lock_guard guard(mutex_);
  postLocked(*collection, true);
}
