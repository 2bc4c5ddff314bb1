#include "Simulated/VLSimulatedBulkSeed.h"

#include <cstdio>
#include <fstream>
#include <system_error>

#include "Simulated/VLSimulatedStore.h"
#include "Vaultline/VLConstants.h"

namespace fs = std::filesystem;

namespace {

// "Folder 0007", "File 000123.txt": fixed widths so that names sort in seeding order.
std::string numbered(const char* format, uint64_t number) {
  char name[32];
  std::snprintf(name, sizeof name, format, static_cast<unsigned long long>(number));
  return name;
}

std::string addBulkFolderLocked(VLSimulatedStore& store, const std::string& parent, const std::string& name,
                                const VLDate& now) {
  VLSimulatedNode folder;
  folder.parent = parent;
  folder.filename = name;
  folder.kind = VLSimulatedNode::Kind::Folder;
  folder.typeIdentifier = "public.folder";
  folder.creationDate = folder.modificationDate = now;
  folder.uploaded = true;
  folder.contentDeferred = true;
  return store.addNodeLocked(std::move(folder)).identifier;
}

}  // namespace

const std::string& VLSimulatedBulkSeed::folderName() {
  static const auto& name = *new std::string("Bulk");
  return name;
}

void VLSimulatedBulkSeed::seedLocked(VLSimulatedStore& store, uint64_t count) {
  if (count == 0) return;
  const VLDate now = VLDate::now();
  const std::string& root = KsVaultlineRootContainerItemIdentifier;
  std::string bulk = addBulkFolderLocked(store, root, folderName(), now);
  const std::string type = store.fileTypeLocked("File.txt");
  std::string folder;
  for (uint64_t index = 0; index < count; ++index) {
    if (index % kFilesPerFolder == 0) {
      if (!folder.empty()) store.refreshChildCountLocked(folder);
      folder = addBulkFolderLocked(store, bulk, numbered("Folder %04llu", index / kFilesPerFolder + 1), now);
    }
    VLSimulatedNode file;
    file.parent = folder;
    file.filename = numbered("File %06llu.txt", index + 1);
    file.kind = VLSimulatedNode::Kind::File;
    file.typeIdentifier = type;
    file.creationDate = file.modificationDate = now;
    // One second apart, newest first, so that orderings by date are stable and distinct.
    file.lastUsedDate = VLDate(now.timeIntervalSince1970() - static_cast<double>(index));
    file.uploaded = true;
    file.contentDeferred = true;
    store.addNodeLocked(std::move(file));
  }
  store.refreshChildCountLocked(folder);
  store.refreshChildCountLocked(bulk);
  store.refreshChildCountLocked(root);
}

void VLSimulatedBulkSeed::materializeLocked(VLSimulatedStore& store, const VLSimulatedNode& node,
                                            const fs::path& path) {
  if (!node.contentDeferred) return;
  node.contentDeferred = false;
  std::error_code ignored;
  if (node.isContainer()) {
    fs::create_directories(path, ignored);
    return;
  }
  fs::create_directories(path.parent_path(), ignored);
  std::ofstream(path, std::ios::binary).flush();
  std::ofstream(store.serverCopyPath(node.identifier), std::ios::binary).flush();
}
