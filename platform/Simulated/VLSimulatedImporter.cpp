#include "Simulated/VLSimulatedImporter.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "Core/VLFormat.h"
#include "Simulated/VLSimulatedErrors.h"
#include "Vaultline/VLFileManager.h"

namespace fs = std::filesystem;
using Kind = VLSimulatedNode::Kind;

namespace {

int64_t sizeOnDisk(const fs::path& path) {
  std::error_code ignored;
  if (!fs::is_directory(path, ignored)) return static_cast<int64_t>(fs::file_size(path, ignored));
  int64_t total = 0;
  for (auto it = fs::recursive_directory_iterator(path, ignored); it != fs::recursive_directory_iterator(); ++it) {
    if (it->is_regular_file(ignored)) total += static_cast<int64_t>(it->file_size(ignored));
  }
  return total;
}

// Damages stored bytes the way a faulty provider might: the first byte flipped.
void corrupt(const fs::path& file) {
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  char first = 0;
  if (stream.get(first)) {
    stream.seekp(0);
    stream.put(static_cast<char>(first ^ 0x5A));
  } else {
    stream.clear();
    stream.put('!');
  }
}

}  // namespace

std::shared_ptr<VLSimulatedImporter> VLSimulatedImporter::make(std::shared_ptr<VLSimulatedStore> store, Later later) {
  return std::shared_ptr<VLSimulatedImporter>(new VLSimulatedImporter(std::move(store), std::move(later)));
}

VLSimulatedNode* VLSimulatedImporter::importLocked(const std::string& source, const std::string& parent,
                                                   const std::string& name, VLErrorRef* error) {
  std::error_code code;
  auto status = fs::status(source, code);
  if (!fs::exists(status)) {
    *error = VLFileManager::posixError(ENOENT, VLURL::fileURLWithPath(source, false));
    return nullptr;
  }
  VLSimulatedNode node;
  node.parent = parent;
  node.filename = name;
  node.creationDate = node.modificationDate = VLDate::now();
  std::string extension = VLSimulatedStore::extensionOf(name);
  std::string packageType = store_->types().preferredIdentifierForExtension(extension, VLPackageTypeIdentifier);
  if (fs::is_directory(status) && (extension.empty() || !store_->types().isDeclared(packageType))) {
    node.kind = Kind::Folder;
    node.typeIdentifier = "public.folder";
    node.uploaded = true;
    fs::path target = store_->childPathLocked(parent, "", name);
    if (fs::create_directories(target, code); code) {
      *error = VLFileManager::posixError(code.value(), VLURL::fileURLWithPath(target.string(), true));
      return nullptr;
    }
    VLSimulatedNode& folder = store_->addNodeLocked(std::move(node));
    std::string identifier = folder.identifier;
    std::vector<fs::path> entries;
    for (const auto& entry : fs::directory_iterator(source, code)) entries.push_back(entry.path());
    std::sort(entries.begin(), entries.end());
    for (const auto& entry : entries) {
      std::string childName = store_->uniqueNameLocked(identifier, entry.filename().string());
      if (!importLocked(entry.string(), identifier, childName, error)) return nullptr;
    }
    store_->refreshChildCountLocked(parent);
    return store_->nodeLocked(identifier);
  }
  VLSimulatedNode* container = store_->nodeLocked(parent);
  fs::path target = store_->pathLocked(*container) / name;
  if (fs::is_directory(status)) {
    node.kind = Kind::Package;
    node.typeIdentifier = packageType;
    if (store_->quirks().typesPackagesFlat()) {
      node.typeIdentifier = store_->types().preferredIdentifierForExtension(extension, std::string("public.data"));
    }
    if (store_->quirks().typesEverythingAsData()) node.typeIdentifier = "public.data";
    fs::copy(source, target, fs::copy_options::recursive | fs::copy_options::overwrite_existing, code);
  } else {
    node.kind = Kind::File;
    node.typeIdentifier = store_->fileTypeLocked(name);
    fs::copy_file(source, target, fs::copy_options::overwrite_existing, code);
    if (!code && store_->quirks().corruptsImports()) corrupt(target);
  }
  if (code) {
    *error = VLFileManager::posixError(code.value(), VLURL::fileURLWithPath(source, false));
    return nullptr;
  }
  node.documentSize = sizeOnDisk(target);
  VLSimulatedNode& added = store_->addNodeLocked(std::move(node));
  scheduleUploadLocked(added);
  store_->refreshChildCountLocked(parent);
  return &added;
}

void VLSimulatedImporter::scheduleUploadLocked(VLSimulatedNode& node) {
  const auto& settings = store_->settings();
  if (!settings.syncing) {
    node.uploaded = true;
    return;
  }
  if (settings.quirks.neverUploads()) return;
  node.uploading = true;
  std::weak_ptr<VLSimulatedImporter> weak = shared_from_this();
  later_(settings.uploadLatency, [weak, identifier = node.identifier] {
    if (auto self = weak.lock()) self->finishUpload(identifier);
  });
}

void VLSimulatedImporter::finishUpload(const std::string& identifier) {
  auto lock = store_->lock();
  VLSimulatedNode* node = store_->nodeLocked(identifier);
  if (!node || !node->uploading) return;
  std::error_code code;
  fs::path server = store_->serverCopyPath(node->identifier);
  fs::remove_all(server, code);
  fs::copy(store_->pathLocked(*node), server, fs::copy_options::recursive, code);
  node->uploading = false;
  // An upload that could not be written is not reported as done: eviction relies on it.
  node->uploaded = !code;
  store_->touchLocked(*node);
  store_->publishLocked();
}

std::function<void()> VLSimulatedImporter::copyLocked(const std::shared_ptr<VLCopyOperation>& action) {
  VLCopyOperation::TransferResults results;
  VLCopyOperation::ErrorsByItem errors;
  VLErrorRef overall;
  VLSimulatedNode* destination = store_->containerForItemLocked(action->destinationFolder(), &overall);
  std::string parent = destination ? destination->identifier : "";
  for (const auto& url : action->urls()) {
    if (!destination) {
      errors[url] = overall;
      continue;
    }
    std::string name = url.lastPathComponent();
    VLErrorRef error = VLSimulatedStore::isValidName(name)
                           ? store_->collisionErrorLocked(parent, name)
                           : VLSimulatedErrors::invalidArgument(VLFormat("\"%@\" is not a valid name.", name));
    if (!error) {
      if (store_->quirks().skipsCollisionCheck()) name = store_->uniqueNameLocked(parent, name);
      if (VLSimulatedNode* node = importLocked(url.path(), parent, name, &error)) {
        if (!store_->quirks().importReportsNoItem()) results[url] = store_->snapshotLocked(*node);
        continue;
      }
    }
    errors[url] = error;
    if (!overall) overall = error;
  }
  action->setResults(std::move(results), std::move(errors));
  return [action, overall] { action->completeWithError(overall); };
}

std::function<void()> VLSimulatedImporter::createFolderLocked(const std::shared_ptr<VLCreateFolderOperation>& action) {
  VLErrorRef error;
  VLItemRef created;
  VLSimulatedNode* parent = store_->containerForItemLocked(action->parentItem(), &error);
  std::string name = action->folderName();
  if (parent && !VLSimulatedStore::isValidName(name))
    error = VLSimulatedErrors::invalidArgument(VLFormat("\"%@\" is not a valid folder name.", name));
  if (parent && !error) error = store_->collisionErrorLocked(parent->identifier, name);
  if (parent && !error) {
    name = store_->uniqueNameLocked(parent->identifier, name);
    VLSimulatedNode node;
    node.parent = parent->identifier;
    node.filename = name;
    node.kind = Kind::Folder;
    node.typeIdentifier = "public.folder";
    node.creationDate = node.modificationDate = VLDate::now();
    node.uploaded = true;
    fs::path target = store_->childPathLocked(node.parent, "", name);
    std::error_code code;
    if (fs::create_directory(target, code); code) {
      error = VLFileManager::posixError(code.value(), VLURL::fileURLWithPath(target.string(), true));
    } else {
      VLSimulatedNode& added = store_->addNodeLocked(std::move(node));
      store_->refreshChildCountLocked(added.parent);
      created = store_->snapshotLocked(added);
    }
  }
  return [action, created, error] { action->completeWithItem(created, error); };
}
