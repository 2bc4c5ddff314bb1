#include <fstream>

#include "Simulated/VLSimulatedBulkSeed.h"
#include "Simulated/VLSimulatedStore.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLImageCodec.h"

// What a fresh store holds: the root, the alternate root the settings ask for, the sample
// tree and the bulk of seeded items.

namespace fs = std::filesystem;

void VLSimulatedStore::seedLocked() {
  std::error_code code;
  VLSimulatedNode root;
  root.identifier = KsVaultlineRootContainerItemIdentifier;
  root.parent = KsVaultlineRootContainerItemIdentifier;
  root.filename = "Simulated Provider";
  root.kind = VLSimulatedNode::Kind::Root;
  root.typeIdentifier = "public.folder";
  root.creationDate = root.modificationDate = VLDate::now();
  root.uploaded = true;
  addNodeLocked(std::move(root));
  if (settings_.alternateRootName) {
    VLSimulatedNode folder;
    folder.parent = KsVaultlineRootContainerItemIdentifier;
    folder.filename = *settings_.alternateRootName;
    folder.kind = VLSimulatedNode::Kind::Folder;
    folder.typeIdentifier = "public.folder";
    folder.creationDate = folder.modificationDate = VLDate::now();
    folder.uploaded = true;
    auto& added = addNodeLocked(std::move(folder));
    fs::create_directories(pathLocked(added), code);
    alternateRoot_ = added.identifier;
    refreshChildCountLocked(KsVaultlineRootContainerItemIdentifier);
  }
  if (settings_.sampleTree) seedSampleTreeLocked();
  VLSimulatedBulkSeed::seedLocked(*this, settings_.seedItems);
}

void VLSimulatedStore::seedSampleTreeLocked() {
  using Kind = VLSimulatedNode::Kind;
  const std::string& root = KsVaultlineRootContainerItemIdentifier;
  std::string documents = addSampleLocked(root, "Documents", Kind::Folder);
  addSampleLocked(documents, "Notes.txt", Kind::File, "Things to remember.\n");
  addSampleLocked(documents, "Report.rtfd", Kind::Package, "{\\rtf1\\ansi Quarterly report}");
  std::string drafts = addSampleLocked(documents, "Drafts", Kind::Folder);
  addSampleLocked(drafts, "Outline.txt", Kind::File, "1. Introduction\n2. Findings\n");
  std::string photos = addSampleLocked(root, "Photos", Kind::Folder);
  VLBitmap picture(16, 12);
  picture.fillRect(0, 0, 16, 6, 0.1, 0.3, 0.8, 1);
  picture.fillRect(0, 6, 16, 6, 0.9, 0.7, 0.2, 1);
  addSampleLocked(photos, "Harbour.jpeg", Kind::File, VLImageCodec::encodeJPEG(picture).stringValue());
  addSampleLocked(root, "Welcome.txt", Kind::File, "Welcome to the simulated provider.\n");
}

std::string VLSimulatedStore::addSampleLocked(const std::string& parent, const std::string& name,
                                              VLSimulatedNode::Kind kind, const std::string& contents) {
  using Kind = VLSimulatedNode::Kind;
  VLSimulatedNode node;
  node.parent = parent;
  node.filename = name;
  node.kind = kind;
  node.creationDate = node.modificationDate = VLDate::now();
  node.uploaded = true;
  if (kind == Kind::Folder) {
    node.typeIdentifier = "public.folder";
  } else if (kind == Kind::Package) {
    node.typeIdentifier = types().preferredIdentifierForExtension(extensionOf(name), VLPackageTypeIdentifier);
  } else {
    node.typeIdentifier = fileTypeLocked(name);
  }
  node.documentSize = static_cast<int64_t>(contents.size());
  VLSimulatedNode& added = addNodeLocked(std::move(node));
  fs::path path = pathLocked(added);
  std::error_code ignored;
  if (kind == Kind::File) {
    std::ofstream(path, std::ios::binary) << contents;
  } else {
    fs::create_directories(path, ignored);
    if (kind == Kind::Package) std::ofstream(path / "TXT.rtf", std::ios::binary) << contents;
  }
  if (kind != Kind::Folder) fs::copy(path, serverCopyPath(added.identifier), fs::copy_options::recursive, ignored);
  refreshChildCountLocked(parent);
  return added.identifier;
}
