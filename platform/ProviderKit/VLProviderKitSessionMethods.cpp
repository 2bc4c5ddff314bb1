// The methods a session carries out on its store, in the order of the protocol document:
// look-ups, actions, thumbnails, local files and the validation service.
#include "ProviderKit/VLProviderKitSession.h"
#include "Remote/VLProtocolMethod.h"
#include "Vaultline/VLConstants.h"

const std::map<std::string, VLProviderKitSession::Handler, std::less<>>& VLProviderKitSession::handlers() {
  using S = VLProviderKitSession;
  static const auto& table = *new const std::map<std::string, Handler, std::less<>>{
      // never destroyed: used by threads at exit
      {VLProtocolMethod::kItemsRoot, &S::rootItem},
      {VLProtocolMethod::kItemsLookup, &S::lookup},
      {VLProtocolMethod::kItemsURL, &S::location},
      {VLProtocolMethod::kItemsByPath, &S::byPath},
      {VLProtocolMethod::kActionsCopy, &S::copy},
      {VLProtocolMethod::kActionsCreateFolder, &S::createFolder},
      {VLProtocolMethod::kActionsRename, &S::rename},
      {VLProtocolMethod::kActionsMove, &S::move},
      {VLProtocolMethod::kActionsTrash, &S::trash},
      {VLProtocolMethod::kActionsUntrash, &S::untrash},
      {VLProtocolMethod::kActionsDelete, &S::remove},
      {VLProtocolMethod::kActionsSetTags, &S::setTags},
      {VLProtocolMethod::kActionsSetFavoriteRanks, &S::setFavoriteRanks},
      {VLProtocolMethod::kActionsSetLastUsedDate, &S::setLastUsedDate},
      {VLProtocolMethod::kActionsDownload, &S::download},
      {VLProtocolMethod::kActionsEvict, &S::evict},
      {VLProtocolMethod::kActionsFetchItem, &S::fetchItem},
      {VLProtocolMethod::kThumbnailsFetch, &S::thumbnail},
      {VLProtocolMethod::kFilesServices, &S::services},
      {VLProtocolMethod::kFilesState, &S::fileState},
      {VLProtocolMethod::kFilesMaterialize, &S::materialize},
      {VLProtocolMethod::kValidationAllowValidation, &S::allowValidation},
      {VLProtocolMethod::kValidationEvictDocument, &S::evictDocument},
      {VLProtocolMethod::kValidationShareDocument, &S::shareDocument},
  };
  return table;
}

VLItemRef VLProviderKitSession::item(const VLRemoteJSONReader& params, const char* name) const {
  auto field = params.optionalField(name);
  return field ? codec_.decodeItem(*field) : nullptr;
}

VLProviderStore::Items VLProviderKitSession::items(const VLRemoteJSONReader& params, const char* name) const {
  VLProviderStore::Items list;
  for (const auto& element : params.field(name).array()) list.push_back(codec_.decodeItem(element));
  return list;
}

std::string VLProviderKitSession::itemResult(const VLStoreItemResult& result) const {
  std::string out;
  VLProviderKitObject object(out);
  if (result.item) encoder_.item(object.key("item"), *result.item);
  if (result.error) encoder_.error(object.key("error"), *result.error);
  object.close();
  return out;
}

std::string VLProviderKitSession::errorResult(const VLErrorRef& error) const { return itemResult({nullptr, error}); }

std::string VLProviderKitSession::itemsArray(const std::vector<VLItemRef>& list) const {
  std::string out = "[";
  for (const auto& element : list) {
    if (out.size() > 1) out += ',';
    if (element) {
      encoder_.item(out, *element);
    } else {
      out += "null";
    }
  }
  return out + "]";
}

namespace {

// Lists that go with `items` element by element must be as long.
VLErrorRef kitUnequalLists(size_t items, size_t values, const char* what) {
  if (items == values) return nullptr;
  return VLError::makeWithDescription(
      VLPOSIXErrorDomain, 22,
      "There are " + std::to_string(items) + " items but " + std::to_string(values) + " " + what + ".");
}

}  // namespace

std::string VLProviderKitSession::rootItem(const VLRemoteJSONReader&) { return itemResult(store_->rootItem()); }

std::string VLProviderKitSession::lookup(const VLRemoteJSONReader& params) {
  return itemResult(store_->lookup(params.field("itemIdentifier").string()));
}

std::string VLProviderKitSession::location(const VLRemoteJSONReader& params) {
  std::optional<bool> creating;
  if (auto flag = params.optionalField("creatingPlaceholderIfMissing")) creating = flag->boolean();
  VLStoreLocation where = store_->location(item(params, "item"), creating);
  std::string out;
  VLProviderKitObject object(out);
  if (where.path) {
    object.string("path", *where.path);
    object.boolean("isDirectory", where.isDirectory);
  }
  if (where.error) encoder_.error(object.key("error"), *where.error);
  object.close();
  return out;
}

std::string VLProviderKitSession::byPath(const VLRemoteJSONReader& params) {
  return itemResult(store_->itemAtPath(params.field("path").string()));
}

std::string VLProviderKitSession::copy(const VLRemoteJSONReader& params) {
  std::vector<VLStoreSource> sources;
  for (const auto& source : params.field("sources").array()) {
    sources.push_back({source.field("path").string(), source.field("isDirectory").boolean()});
  }
  VLStoreCopyResult result = store_->importItems(sources, item(params, "destination"));
  std::string out;
  VLProviderKitObject object(out);
  {
    VLProviderKitObject created(object.key("transferResults"));
    for (const auto& [path, made] : result.created) {
      if (made) encoder_.item(created.key(path), *made);
    }
    created.close();
  }
  {
    VLProviderKitObject failed(object.key("errorsByItem"));
    for (const auto& [path, problem] : result.failed) {
      if (problem) encoder_.error(failed.key(path), *problem);
    }
    failed.close();
  }
  if (result.error) encoder_.error(object.key("error"), *result.error);
  object.close();
  return out;
}

std::string VLProviderKitSession::createFolder(const VLRemoteJSONReader& params) {
  return itemResult(store_->createFolder(item(params, "parent"), params.field("name").string()));
}

std::string VLProviderKitSession::rename(const VLRemoteJSONReader& params) {
  return errorResult(store_->rename(item(params, "item"), params.field("newName").string()));
}

std::string VLProviderKitSession::move(const VLRemoteJSONReader& params) {
  VLStoreMoveResult result = store_->move(items(params, "items"), item(params, "destination"));
  std::string out;
  VLProviderKitObject object(out);
  {
    VLProviderKitObject moved(object.key("transferResults"));
    for (const auto& [identifier, after] : result.moved) {
      if (after) encoder_.item(moved.key(identifier), *after);
    }
    moved.close();
  }
  if (result.error) encoder_.error(object.key("error"), *result.error);
  object.close();
  return out;
}

std::string VLProviderKitSession::trash(const VLRemoteJSONReader& params) {
  return errorResult(store_->trash(items(params, "items")));
}

std::string VLProviderKitSession::untrash(const VLRemoteJSONReader& params) {
  return errorResult(store_->untrash(items(params, "items"), item(params, "restoreDirectory")));
}

std::string VLProviderKitSession::remove(const VLRemoteJSONReader& params) {
  return errorResult(store_->remove(items(params, "items")));
}

std::string VLProviderKitSession::setTags(const VLRemoteJSONReader& params) {
  auto targets = items(params, "items");
  std::vector<VLProviderStore::TagList> lists;
  for (const auto& list : params.field("tagsLists").array()) {
    VLProviderStore::TagList tags;
    for (const auto& tag : list.array()) tags.push_back(VLRemoteCodec::decodeTag(tag));
    lists.push_back(std::move(tags));
  }
  if (auto unequal = kitUnequalLists(targets.size(), lists.size(), "tag lists")) return errorResult(unequal);
  return errorResult(store_->setTags(targets, lists));
}

std::string VLProviderKitSession::setFavoriteRanks(const VLRemoteJSONReader& params) {
  auto targets = items(params, "items");
  std::vector<int64_t> ranks;
  for (const auto& rank : params.field("ranks").array()) ranks.push_back(rank.integer());
  if (auto unequal = kitUnequalLists(targets.size(), ranks.size(), "ranks")) return errorResult(unequal);
  return errorResult(store_->setFavoriteRanks(targets, ranks));
}

std::string VLProviderKitSession::setLastUsedDate(const VLRemoteJSONReader& params) {
  return errorResult(store_->setLastUsedDate(items(params, "items"), VLDate(params.field("date").number())));
}

std::string VLProviderKitSession::download(const VLRemoteJSONReader& params) {
  VLStoreItemsResult result = store_->download(items(params, "items"));
  std::string out;
  VLProviderKitObject object(out);
  object.raw("items", itemsArray(result.items));
  if (result.error) encoder_.error(object.key("error"), *result.error);
  object.close();
  return out;
}

std::string VLProviderKitSession::evict(const VLRemoteJSONReader& params) {
  return errorResult(store_->evict(items(params, "items")));
}

std::string VLProviderKitSession::fetchItem(const VLRemoteJSONReader& params) {
  return itemResult(store_->fetchItem(params.field("itemIdentifier").string()));
}

std::string VLProviderKitSession::thumbnail(const VLRemoteJSONReader& params) {
  VLStoreThumbnail thumbnail = store_->thumbnail(item(params, "item"), params.field("width").number(),
                                                 params.field("height").number(), params.field("scale").number());
  std::string out;
  VLProviderKitObject object(out);
  if (thumbnail.data) {
    VLProviderKitEncoder::data(object.key("data"), *thumbnail.data);
    object.string("format", thumbnail.format);
  }
  if (thumbnail.error) encoder_.error(object.key("error"), *thumbnail.error);
  object.close();
  return out;
}

std::string VLProviderKitSession::services(const VLRemoteJSONReader& params) {
  VLStoreServicesResult result = store_->services(params.field("path").string());
  if (result.error) return errorResult(result.error);
  std::string out;
  VLProviderKitObject object(out);
  std::string& list = object.key("services");
  list += '[';
  for (size_t i = 0; i < result.services.size(); ++i) {
    if (i) list += ',';
    VLProviderKitObject service(list);
    service.string("name", result.services[i].name);
    service.string("service", result.services[i].token);
    service.close();
  }
  list += ']';
  object.close();
  return out;
}

std::string VLProviderKitSession::fileState(const VLRemoteJSONReader& params) {
  VLStoreFileState state = store_->fileState(params.field("path").string());
  const char* name = state == VLStoreFileState::Materialized  ? "materialized"
                     : state == VLStoreFileState::Placeholder ? "placeholder"
                                                              : "absent";
  return std::string("{\"state\":\"") + name + "\"}";
}

std::string VLProviderKitSession::materialize(const VLRemoteJSONReader& params) {
  return errorResult(store_->materialize(params.field("path").string()));
}

std::string VLProviderKitSession::allowValidation(const VLRemoteJSONReader& params) {
  VLStoreValidationAnswer answer = store_->allowValidation(params.field("service").string());
  if (answer.error) return errorResult(answer.error);
  std::string out;
  VLProviderKitObject object(out);
  object.boolean("allowed", answer.allowed);
  VLProviderKitEncoder::value(object.key("options"), VLValue(answer.options));
  object.close();
  return out;
}

std::string VLProviderKitSession::evictDocument(const VLRemoteJSONReader& params) {
  return errorResult(store_->evictDocument(params.field("service").string()));
}

std::string VLProviderKitSession::shareDocument(const VLRemoteJSONReader& params) {
  return errorResult(store_->shareDocument(params.field("service").string()));
}
