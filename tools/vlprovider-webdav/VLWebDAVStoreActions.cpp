// VLWebDAVStore's actions: each changes the server first and the index and cache after, so a
// request the server refuses leaves the bridge as it was.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "ProviderKit/VLStoreErrors.h"
#include "VLWebDAVStore.h"

namespace fs = std::filesystem;

namespace {

using Errors = VLStoreErrors;
const std::string& kRootIdentifier = *new std::string("KsVaultlineRootContainerItemIdentifier");
const std::string& kTrashIdentifier = *new std::string("trash");

std::string readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}
bool writeFile(const fs::path& path, const std::string& bytes) {
  std::error_code ignored;
  fs::create_directories(path.parent_path(), ignored);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  return static_cast<bool>(out);
}
fs::path placeholderPath(const fs::path& path) {
  return path.parent_path() / ("." + path.filename().string() + ".placeholder");
}
std::string formatNumber(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", value);
  return text;
}

}  // namespace

VLErrorRef VLWebDAVStore::moveOnServer(const std::string& from, const std::string& to, bool isCollection) {
  std::string suffix = isCollection ? "/" : "";
  auto answer = client_.request("MOVE", from + suffix, {{"Destination", client_.urlOf(to) + suffix}, {"Overwrite", "F"}});
  if (answer.error) return answer.error;
  if (answer.status == 412) return Errors::posix(EEXIST, "\"" + to + "\" exists on the server.");
  if (answer.status != 201 && answer.status != 204) return unexpected(answer, "MOVE of \"" + from + "\"");
  return nullptr;
}

VLErrorRef VLWebDAVStore::relocate(Node& node, const std::string& parent, const std::string& name,
                                   const std::string& trashedFrom) {
  fs::path before = localPath(node);
  std::string from = serverPath(node);
  Node moved = node;
  moved.parent = parent, moved.name = name, moved.trashedFrom = trashedFrom;
  std::string to = serverPath(moved);
  if (!trashedFrom.empty()) {
    if (auto error = ensureTrash()) return error;
    auto made = client_.request("MKCOL", parentOfTrashed(node.id) + "/");
    if (made.error) return made.error;
    if (made.status != 201 && made.status != 405) return unexpected(made, "MKCOL in the trash");
  }
  if (auto error = moveOnServer(from, to, node.kind != Node::File)) {
    if (!trashedFrom.empty()) client_.request("DELETE", parentOfTrashed(node.id) + "/");  // no empty slot left behind
    // Another client may have taken the name since the check: then say who has it.
    if (trashedFrom.empty() && error->code() == EEXIST)
      if (auto collision = checkName(parent, name, node.id)) return collision;
    return error;
  }
  if (!node.trashedFrom.empty() && trashedFrom.empty()) client_.request("DELETE", parentOfTrashed(node.id) + "/");
  touch(node.parent), touch(parent);
  node.parent = parent, node.name = name, node.trashedFrom = trashedFrom;
  fs::path after = localPath(node);
  std::error_code ignored;
  fs::create_directories(after.parent_path(), ignored);
  for (auto [source, target] : {std::pair{before, after}, std::pair{placeholderPath(before), placeholderPath(after)}})
    if (fs::exists(source)) fs::rename(source, target, ignored);
  if (before.parent_path().parent_path() == options_.cache / "trash") fs::remove(before.parent_path(), ignored);
  for (const auto& inner : subtree(node.id)) touch(inner);  // their membership follows the folder's
  return nullptr;
}

std::string VLWebDAVStore::parentOfTrashed(const std::string& id) { return kTrashCollection + "/" + id; }

VLStoreCopyResult VLWebDAVStore::importItems(const std::vector<VLStoreSource>& sources, const VLItemRef& destination) {
  VLStoreCopyResult result;
  change([&] {
    for (const auto& source : sources) {
      VLItemRef made;
      VLErrorRef error = import(source.path, destination->itemIdentifier(), made);
      if (made) result.created.emplace_back(source.path, made);
      if (error) result.failed.emplace_back(source.path, error), result.error = result.error ? result.error : error;
    }
  });
  return result;
}

VLErrorRef VLWebDAVStore::upload(const fs::path& source, const std::string& path, bool isDirectory) {
  if (!isDirectory) {
    auto answer = client_.request("PUT", path, {{"If-None-Match", "*"}}, readFile(source));
    if (answer.error) return answer.error;
    if (answer.status == 412) return Errors::posix(EEXIST, "\"" + path + "\" exists on the server.");
    if (answer.status != 201 && answer.status != 204) return unexpected(answer, "PUT of \"" + path + "\"");
    return nullptr;
  }
  auto answer = client_.request("MKCOL", path + "/");
  if (answer.error) return answer.error;
  if (answer.status == 405) return Errors::posix(EEXIST, "\"" + path + "\" exists on the server.");
  if (answer.status != 201) return unexpected(answer, "MKCOL of \"" + path + "\"");
  std::error_code problem;
  std::vector<fs::path> children(fs::directory_iterator(source, problem), fs::directory_iterator());
  std::sort(children.begin(), children.end());
  for (const auto& child : children)
    if (auto error = upload(child, path + "/" + child.filename().string(), fs::is_directory(child, problem)))
      return error;
  return nullptr;
}

VLErrorRef VLWebDAVStore::import(const fs::path& source, const std::string& parent, VLItemRef& made) {
  std::string name = source.filename().string();
  if (auto error = checkName(parent, name, "")) return error;
  std::error_code problem;
  if (!fs::exists(source, problem)) return Errors::posix(ENOENT, "Nothing is at " + source.string() + ".");
  bool directory = fs::is_directory(source, problem);
  Node::Kind kind = !directory ? Node::File : types_.isPackage(name) ? Node::Package : Node::Folder;
  std::string path = serverPath(*find(parent)) + (find(parent)->kind == Node::Root ? "" : "/") + name;
  if (kind == Node::Folder) {
    auto answer = client_.request("MKCOL", path + "/");
    if (answer.status == 405)
      if (auto collision = checkName(parent, name, "")) return collision;
    if (answer.error || answer.status != 201) return unexpected(answer, "MKCOL of \"" + path + "\"");
  } else if (auto error = upload(source, path, directory)) {
    // Another client may have taken the name since the check: then say who has it.
    if (auto collision = checkName(parent, name, "")) return collision;
    return error;
  }
  Node& node = add(kind, parent, name);
  std::string id = node.id;
  if (kind == Node::File) {
    std::string bytes = readFile(source);
    node.size = static_cast<int64_t>(bytes.size());
    writeFile(localPath(node), bytes);
    node.cachedVersion = "uploaded";
  }
  if (kind == Node::Package) fs::copy(source, localPath(node), fs::copy_options::recursive, problem);
  if (kind == Node::Folder) fs::create_directories(localPath(node), problem);
  refresh(parent);  // the server's own size, dates and version
  if (kind == Node::Folder) {
    std::vector<fs::path> children(fs::directory_iterator(source, problem), fs::directory_iterator());
    std::sort(children.begin(), children.end());
    for (const auto& child : children)
      if (VLItemRef inner; auto error = import(child, id, inner)) return error;
  }
  Node* now = find(id);
  made = now ? item(*now) : nullptr;
  return nullptr;
}

VLStoreItemResult VLWebDAVStore::createFolder(const VLItemRef& parent, const std::string& name) {
  VLStoreItemResult result;
  change([&] {
    if ((result.error = checkName(parent->itemIdentifier(), name, ""))) return;
    Node* folder = find(parent->itemIdentifier());
    std::string path = serverPath(*folder) + (folder->kind == Node::Root ? "" : "/") + name;
    auto answer = client_.request("MKCOL", path + "/");
    if (answer.error || answer.status != 201) {
      // Another client may have taken the name since the check: then say who has it.
      VLErrorRef collision = answer.status == 405 ? checkName(parent->itemIdentifier(), name, "") : nullptr;
      result.error = collision ? collision : unexpected(answer, "MKCOL of \"" + path + "\"");
      return;
    }
    Node& node = add(Node::Folder, parent->itemIdentifier(), name);
    std::error_code ignored;
    fs::create_directories(localPath(node), ignored);
    std::string id = node.id;
    refresh(parent->itemIdentifier());
    if (Node* made = find(id)) result.item = item(*made);
  });
  return result;
}

VLErrorRef VLWebDAVStore::rename(const VLItemRef& target, const std::string& name) {
  return each({target}, [&](Node& node) {
    if (node.kind == Node::Root) return Errors::notSupported("The root cannot be renamed.");
    std::string id = node.id, parent = node.parent;
    if (node.trashedFrom.empty())
      if (VLErrorRef error = checkName(parent, name, id)) return error;
    Node* again = find(id);  // the check refreshed the index
    return again ? relocate(*again, again->parent, name, again->trashedFrom) : Errors::noSuchItem(id);
  });
}

VLStoreMoveResult VLWebDAVStore::move(const Items& items, const VLItemRef& destination) {
  VLStoreMoveResult result;
  result.error = each(items, [&](Node& node) {
    std::string id = node.id, folder = destination->itemIdentifier();
    auto inside = subtree(id);
    if (std::find(inside.begin(), inside.end(), folder) != inside.end())
      return Errors::posix(EINVAL, "An item cannot be moved into itself.");
    if (VLErrorRef error = checkName(folder, node.name, id)) return error;
    Node* again = find(id);
    if (!again) return Errors::noSuchItem(id);
    if (VLErrorRef error = relocate(*again, folder, again->name, "")) return error;
    result.moved.emplace_back(id, item(*find(id)));
    return VLErrorRef();
  });
  return result;
}

VLErrorRef VLWebDAVStore::trash(const Items& items) {
  return each(items, [&](Node& node) {
    if (node.kind == Node::Root) return Errors::notSupported("The root cannot be trashed.");
    if (!node.trashedFrom.empty()) return VLErrorRef();
    return relocate(node, kTrashIdentifier, node.name, node.parent);
  });
}

VLErrorRef VLWebDAVStore::untrash(const Items& items, const VLItemRef& restoreDirectory) {
  return each(items, [&](Node& node) {
    if (node.trashedFrom.empty()) return VLErrorRef();
    std::string id = node.id;
    Node* target = find(restoreDirectory ? restoreDirectory->itemIdentifier() : node.trashedFrom);
    std::string folder = !target || !target->isContainer() || underTrash(*target) ? kRootIdentifier : target->id;
    if (VLErrorRef error = checkName(folder, node.name, id)) return error;
    Node* again = find(id);
    return again ? relocate(*again, folder, again->name, "") : Errors::noSuchItem(id);
  });
}

VLErrorRef VLWebDAVStore::remove(const Items& items) {
  return each(items, [&](Node& node) {
    if (node.kind == Node::Root) return Errors::notSupported("The root cannot be deleted.");
    std::string path = node.trashedFrom.empty() ? serverPath(node) : parentOfTrashed(node.id);
    auto answer = client_.request("DELETE", path + (node.kind == Node::File && node.trashedFrom.empty() ? "" : "/"));
    if (answer.error) return answer.error;
    if (answer.status != 200 && answer.status != 204 && answer.status != 404) return unexpected(answer, "DELETE of \"" + path + "\"");
    forget(node.id);
    return VLErrorRef();
  });
}

VLErrorRef VLWebDAVStore::setProperties(Node& node,
                                        const std::vector<std::pair<std::string, std::optional<std::string>>>& values) {
  if (!deadProperties_)
    return Errors::notSupported("The WebDAV server at " + client_.baseURL() +
                                " does not keep dead properties, so tags, favourite ranks and last-used dates cannot be kept.");
  std::string path = serverPath(node) + (node.kind == Node::File ? "" : "/");
  auto answer = client_.request("PROPPATCH", path, {{"Content-Type", "application/xml"}},
                                VLWebDAVMultistatus::proppatchBody(values));
  if (answer.error) return answer.error;
  if (answer.status == 403 || answer.status == 405 || answer.status == 501)
    return Errors::notSupported("The WebDAV server refused to keep a property (PROPPATCH answered " +
                                std::to_string(answer.status) + ").");
  if (answer.status != 207 && answer.status != 200) return unexpected(answer, "PROPPATCH of \"" + path + "\"");
  VLErrorRef error;
  auto statuses = answer.status == 207 ? VLWebDAVMultistatus::propstatStatuses(answer.body, error) : std::vector<long>{};
  if (error) return error;
  for (long status : statuses)
    if (status != 200)
      return Errors::notSupported("The WebDAV server refused to keep a property (its propstat says " +
                                  std::to_string(status) + ").");
  return nullptr;
}

VLErrorRef VLWebDAVStore::setTags(const Items& items, const std::vector<TagList>& lists) {
  return each(items, [&, i = size_t(0)](Node& node) mutable {
    const TagList& tags = lists[i++];
    std::string text;
    for (const auto& tag : tags) text += std::to_string(tag->color()) + " " + tag->label() + "\n";
    VLErrorRef error = setProperties(node, {{"tags", tags.empty() ? std::nullopt : std::optional(text)}});
    if (!error) node.tags = tags;
    return error;
  });
}

VLErrorRef VLWebDAVStore::setFavoriteRanks(const Items& items, const std::vector<int64_t>& ranks) {
  return each(items, [&, i = size_t(0)](Node& node) mutable {
    int64_t rank = ranks[i++];
    VLErrorRef error = setProperties(node, {{"favoriteRank", std::to_string(rank)}});
    if (!error) node.rank = rank;
    return error;
  });
}

VLErrorRef VLWebDAVStore::setLastUsedDate(const Items& items, VLDate date) {
  return each(items, [&](Node& node) {
    VLErrorRef error = setProperties(node, {{"lastUsed", formatNumber(date.timeIntervalSince1970())}});
    if (!error) node.lastUsed = date;
    return error;
  });
}

VLErrorRef VLWebDAVStore::fetchTree(const std::string& path, const fs::path& into) {
  auto answer = client_.request("PROPFIND", path + "/", {{"Depth", "1"}, {"Content-Type", "application/xml"}},
                                VLWebDAVMultistatus::propfindBody());
  if (answer.error || answer.status != 207) return unexpected(answer, "PROPFIND of \"" + path + "\"");
  VLErrorRef error;
  auto entries = VLWebDAVMultistatus::parse(answer.body, error);
  if (error) return error;
  std::error_code ignored;
  fs::create_directories(into, ignored);
  for (const auto& entry : entries) {
    auto relative = client_.relativePath(entry.href);
    if (!relative || *relative == path) continue;
    std::string name = relative->substr(relative->rfind('/') + 1);
    if (entry.isCollection) {
      if (auto inner = fetchTree(*relative, into / name)) return inner;
      continue;
    }
    auto file = client_.request("GET", *relative);
    if (file.error || file.status != 200) return unexpected(file, "GET of \"" + *relative + "\"");
    writeFile(into / name, file.body);
  }
  return nullptr;
}

VLErrorRef VLWebDAVStore::fetch(Node& node) {
  if (node.downloaded() && node.kind != Node::Package) return nullptr;
  fs::path local = localPath(node);
  if (node.kind == Node::Package) {
    if (fs::exists(local)) return nullptr;
    return fetchTree(serverPath(node), local);
  }
  auto answer = client_.request("GET", serverPath(node));
  if (answer.error) return answer.error;
  if (answer.status == 404) return Errors::noSuchItem(node.id);
  if (answer.status != 200) return unexpected(answer, "GET of \"" + serverPath(node) + "\"");
  if (!writeFile(local, answer.body)) return Errors::posix(EIO, "The cache cannot hold " + local.string() + ".");
  std::error_code ignored;
  fs::remove(placeholderPath(local), ignored);
  node.size = static_cast<int64_t>(answer.body.size());
  node.cachedVersion = node.version.empty() ? "fetched" : node.version;
  return nullptr;
}

VLStoreItemsResult VLWebDAVStore::download(const Items& items) {
  VLStoreItemsResult result;
  result.error = each(items, [&](Node& node) {
    VLErrorRef error = fetch(node);
    if (Node* now = find(node.id)) result.items.push_back(item(*now));
    return error;
  });
  return result;
}

VLErrorRef VLWebDAVStore::evict(const Items& items) {
  return each(items, [&](Node& node) {
    if (node.kind != Node::File) return Errors::notSupported("Only files can be evicted.");
    if (node.downloaded()) {
      std::error_code ignored;
      fs::remove(localPath(node), ignored);
      std::ofstream(placeholderPath(localPath(node)));
      node.cachedVersion.clear();
    }
    return VLErrorRef();
  });
}
