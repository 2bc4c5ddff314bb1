// VLProtocolMethod: every method of the provider protocol in one table (docs/provider-protocol.md
// describes each): its name, who sends it, whether it is answered, and the parameters it
// carries with their JSON types. The host (platform/Remote) names methods through the constants
// below, and vlprovider-sim checks each request's parameters against its row before carrying it
// out, so a method is added here once and both ends agree on it.
//
// Immutable; safe from any thread.
#pragma once

#include <string_view>
#include <vector>

#include "Remote/VLRemoteJSONReader.h"

class VLProtocolMethod {
 public:
  enum class Sender { Host, Provider };
  enum class Type { Integer, Number, String, Boolean, Object, Array };
  struct Parameter {
    const char* name;
    Type type;
    bool required;  // present and not null; an optional one may also be null
  };

  // The names, for the code that sends or receives each method.
  static constexpr const char* kInitialize = "initialize";
  static constexpr const char* kItemsRoot = "items.root";
  static constexpr const char* kItemsLookup = "items.lookup";
  static constexpr const char* kItemsURL = "items.url";
  static constexpr const char* kItemsByPath = "items.byPath";
  static constexpr const char* kActionsCopy = "actions.copy";
  static constexpr const char* kActionsCreateFolder = "actions.createFolder";
  static constexpr const char* kActionsRename = "actions.rename";
  static constexpr const char* kActionsMove = "actions.move";
  static constexpr const char* kActionsTrash = "actions.trash";
  static constexpr const char* kActionsUntrash = "actions.untrash";
  static constexpr const char* kActionsDelete = "actions.delete";
  static constexpr const char* kActionsSetTags = "actions.setTags";
  static constexpr const char* kActionsSetFavoriteRanks = "actions.setFavoriteRanks";
  static constexpr const char* kActionsSetLastUsedDate = "actions.setLastUsedDate";
  static constexpr const char* kActionsDownload = "actions.download";
  static constexpr const char* kActionsEvict = "actions.evict";
  static constexpr const char* kActionsFetchItem = "actions.fetchItem";
  static constexpr const char* kThumbnailsFetch = "thumbnails.fetch";
  static constexpr const char* kCollectionsSubscribe = "collections.subscribe";
  static constexpr const char* kCollectionsUnsubscribe = "collections.unsubscribe";
  static constexpr const char* kCollectionsChanged = "collections.changed";
  static constexpr const char* kCollectionsItems = "collections.items";
  static constexpr const char* kCollectionsFailed = "collections.failed";
  static constexpr const char* kFilesServices = "files.services";
  static constexpr const char* kFilesState = "files.state";
  static constexpr const char* kFilesMaterialize = "files.materialize";
  static constexpr const char* kValidationAllowValidation = "validation.allowValidation";
  static constexpr const char* kValidationEvictDocument = "validation.evictDocument";
  static constexpr const char* kValidationShareDocument = "validation.shareDocument";

  std::string_view name;
  Sender sender;
  bool answered;  // a request (answered) or a notification
  std::vector<Parameter> parameters;

  // Every method, in the order the protocol document presents them.
  static const std::vector<VLProtocolMethod>& all();
  // Returns the method named `name`, or none.
  static const VLProtocolMethod* find(std::string_view name);

  // Throws VLRemoteJSONError naming the first parameter of `params` that is missing or of the
  // wrong type ("params.items: expected an array, got …"). Members not in the row are ignored.
  void checkParameters(const VLRemoteJSONReader& params) const;
};
