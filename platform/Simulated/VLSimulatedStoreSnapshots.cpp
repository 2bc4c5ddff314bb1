#include "Simulated/VLSimulatedStore.h"
#include "Vaultline/VLPersonNameComponents.h"

// The items the store hands out: one cached snapshot per node revision, as the provider
// reports it, with the quirks that misreport items applied.

namespace {

const std::string& kAccountFolder = *new std::string("SimulatedAccountFolder");

std::string tagText(const std::vector<std::shared_ptr<const VLTag>>& tags) {
  std::string text;
  for (const auto& tag : tags) text += tag->label() + "\n" + std::to_string(tag->color()) + "\n";
  return text;
}

}  // namespace

const std::string& VLSimulatedStore::aliasPrefix() {
  static const auto& prefix = *new std::string("alias:");
  return prefix;
}

VLItemRef VLSimulatedStore::snapshotLocked(VLSimulatedNode& node) {
  if (node.snapshot) return node.snapshot;
  using Kind = VLSimulatedNode::Kind;
  bool container = node.isContainer();
  bool content = node.kind == Kind::File || node.kind == Kind::Package;
  VLItemAttributes a;
  a.providerIdentifier = provider_->providerIdentifier();
  a.providerID = provider_->providerID();
  a.itemIdentifier = node.identifier;
  a.parentItemIdentifier = node.parent;
  if (node.kind == Kind::Root && quirks().rootHasParent()) a.parentItemIdentifier = kAccountFolder;
  a.filename = node.filename;
  a.displayName = node.filename;
  a.typeIdentifier = node.typeIdentifier;
  a.isFolder = container;
  a.isContainer = container;
  if (container && !quirks().hidesChildCount()) {
    a.childItemCount = node.reportedChildCount + (quirks().countsHiddenChild() ? 1 : 0);
  }
  if (content) a.documentSize = node.documentSize;
  a.capabilities = VLItemCapabilityAllowsReading;
  if (node.kind != Kind::Root) {
    a.capabilities |= VLItemCapabilityAllowsReparenting | VLItemCapabilityAllowsRenaming |
                      VLItemCapabilityAllowsTrashing | VLItemCapabilityAllowsDeleting;
  }
  if (container) {
    a.capabilities |= VLItemCapabilityAllowsContentEnumerating;
    if (!quirks().deniesAddingSubitems()) a.capabilities |= VLItemCapabilityAllowsAddingSubItems;
  } else {
    a.capabilities |= VLItemCapabilityAllowsWriting;
  }
  a.creationDate = node.creationDate;
  a.contentModificationDate = node.modificationDate;
  a.lastUsedDate = node.lastUsedDate;
  a.isCloudItem = settings_.syncing;
  a.downloaded = container || (node.downloaded && !node.reportNotDownloaded);
  a.mostRecentVersionDownloaded = a.downloaded;
  a.supportsMostRecentVersionDownloaded = true;
  a.uploaded = node.uploaded;
  a.uploading = node.uploading;
  a.trashed = node.trashed;
  a.favoriteRank = node.favoriteRank;
  a.tags = node.tags;
  if (!node.tags.empty()) a.tagData = VLData::fromString(tagText(node.tags));
  a.shared = node.shared;
  a.sharedByCurrentUser = node.shared;
  static const auto& owner = *new auto(VLPersonNameComponents::make("Simulated", "Owner"));
  a.ownerNameComponents = owner;
  a.mostRecentEditorNameComponents = owner;
  if (content) a.versionIdentifier = VLData::fromString(std::to_string(node.contentVersion));
  node.snapshot = VLItem::make(std::move(a));
  return node.snapshot;
}

VLItemRef VLSimulatedStore::lookupSnapshotLocked(VLSimulatedNode& node) {
  VLItemRef item = snapshotLocked(node);
  if (!quirks().lookupAnswersAlias()) return item;
  VLItemAttributes a = item->attributes();
  a.itemIdentifier = aliasPrefix() + a.itemIdentifier;
  return VLItem::make(std::move(a));
}
