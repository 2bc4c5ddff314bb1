#include "Remote/VLProtocolMethod.h"

namespace {

using M = VLProtocolMethod;
using T = M::Type;
constexpr auto kHost = M::Sender::Host;
constexpr auto kProvider = M::Sender::Provider;
constexpr bool kRequest = true, kNotification = false, kRequired = true, kOptional = false;

}  // namespace

const std::vector<VLProtocolMethod>& VLProtocolMethod::all() {
  // Never destroyed: a provider's threads may still dispatch while the process exits.
  static const auto& table = *new const std::vector<VLProtocolMethod>{
      {M::kInitialize, kHost, kRequest, {{"protocolVersion", T::Integer, kRequired}, {"host", T::Object, kOptional}}},
      {M::kItemsRoot, kHost, kRequest, {}},
      {M::kItemsLookup, kHost, kRequest, {{"itemIdentifier", T::String, kRequired}}},
      {M::kItemsURL,
       kHost,
       kRequest,
       {{"item", T::Object, kOptional}, {"creatingPlaceholderIfMissing", T::Boolean, kOptional}}},
      {M::kItemsByPath, kHost, kRequest, {{"path", T::String, kRequired}}},
      {M::kActionsCopy, kHost, kRequest, {{"sources", T::Array, kRequired}, {"destination", T::Object, kOptional}}},
      {M::kActionsCreateFolder, kHost, kRequest, {{"parent", T::Object, kOptional}, {"name", T::String, kRequired}}},
      {M::kActionsRename, kHost, kRequest, {{"item", T::Object, kOptional}, {"newName", T::String, kRequired}}},
      {M::kActionsMove, kHost, kRequest, {{"items", T::Array, kRequired}, {"destination", T::Object, kOptional}}},
      {M::kActionsTrash, kHost, kRequest, {{"items", T::Array, kRequired}}},
      {M::kActionsUntrash,
       kHost,
       kRequest,
       {{"items", T::Array, kRequired}, {"restoreDirectory", T::Object, kOptional}}},
      {M::kActionsDelete, kHost, kRequest, {{"items", T::Array, kRequired}}},
      {M::kActionsSetTags, kHost, kRequest, {{"items", T::Array, kRequired}, {"tagsLists", T::Array, kRequired}}},
      {M::kActionsSetFavoriteRanks, kHost, kRequest, {{"items", T::Array, kRequired}, {"ranks", T::Array, kRequired}}},
      {M::kActionsSetLastUsedDate, kHost, kRequest, {{"items", T::Array, kRequired}, {"date", T::Number, kRequired}}},
      {M::kActionsDownload, kHost, kRequest, {{"items", T::Array, kRequired}}},
      {M::kActionsEvict, kHost, kRequest, {{"items", T::Array, kRequired}}},
      {M::kActionsFetchItem, kHost, kRequest, {{"itemIdentifier", T::String, kRequired}}},
      {M::kThumbnailsFetch,
       kHost,
       kRequest,
       {{"item", T::Object, kOptional},
        {"width", T::Number, kRequired},
        {"height", T::Number, kRequired},
        {"scale", T::Number, kRequired}}},
      {M::kCollectionsSubscribe,
       kHost,
       kRequest,
       {{"subscription", T::Integer, kRequired}, {"scope", T::Object, kRequired}}},
      {M::kCollectionsUnsubscribe, kHost, kNotification, {{"subscription", T::Integer, kRequired}}},
      {M::kCollectionsChanged,
       kProvider,
       kNotification,
       {{"subscription", T::Integer, kRequired},
        {"updated", T::Array, kOptional},
        {"deleted", T::Array, kOptional},
        {"observedItem", T::Object, kOptional}}},
      {M::kCollectionsItems,
       kProvider,
       kNotification,
       {{"subscription", T::Integer, kRequired}, {"items", T::Array, kRequired}, {"more", T::Boolean, kOptional}}},
      {M::kCollectionsFailed,
       kProvider,
       kNotification,
       {{"subscription", T::Integer, kRequired}, {"error", T::Object, kRequired}}},
      {M::kFilesServices, kHost, kRequest, {{"path", T::String, kRequired}}},
      {M::kFilesState, kHost, kRequest, {{"path", T::String, kRequired}}},
      {M::kFilesMaterialize, kHost, kRequest, {{"path", T::String, kRequired}}},
      {M::kValidationAllowValidation, kHost, kRequest, {{"service", T::String, kRequired}}},
      {M::kValidationEvictDocument, kHost, kRequest, {{"service", T::String, kRequired}}},
      {M::kValidationShareDocument, kHost, kRequest, {{"service", T::String, kRequired}}},
  };
  return table;
}

const VLProtocolMethod* VLProtocolMethod::find(std::string_view name) {
  for (const auto& method : all()) {
    if (method.name == name) return &method;
  }
  return nullptr;
}

void VLProtocolMethod::checkParameters(const VLRemoteJSONReader& params) const {
  for (const auto& parameter : parameters) {
    auto field =
        parameter.required ? std::optional(params.field(parameter.name)) : params.optionalField(parameter.name);
    if (!field) continue;
    // The reader's own accessors throw with the field's path and what came instead.
    switch (parameter.type) {
      case Type::Integer: field->integer(); break;
      case Type::Number: field->number(); break;
      case Type::String: field->string(); break;
      case Type::Boolean: field->boolean(); break;
      case Type::Object: field->requireObject(); break;
      case Type::Array: field->array(); break;
    }
  }
}
