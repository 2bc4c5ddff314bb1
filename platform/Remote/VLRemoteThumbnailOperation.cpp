#include "Remote/VLRemoteThumbnailOperation.h"

#include "Remote/VLProtocolMethod.h"
#include "Remote/VLProviderProtocolError.h"

using nlohmann::json;

std::shared_ptr<VLRemoteThumbnailOperation> VLRemoteThumbnailOperation::make(std::vector<VLItemRef> items, VLSize size,
                                                                             double scale,
                                                                             std::shared_ptr<VLRemoteSession> session) {
  return std::shared_ptr<VLRemoteThumbnailOperation>(
      new VLRemoteThumbnailOperation(std::move(items), size, scale, std::move(session)));
}

void VLRemoteThumbnailOperation::fetch(size_t index) {
  if (index >= items().size()) {
    finish();
    return;
  }
  const VLItemRef& item = items()[index];
  if (!item) {
    deliverThumbnail(item, std::nullopt, "", vl_noSuchItemError("(null)"));
    fetch(index + 1);
    return;
  }
  auto self = std::static_pointer_cast<VLRemoteThumbnailOperation>(shared_from_this());
  json params = {{"item", session_->codec().encodeItem(*item)},
                 {"width", size().width},
                 {"height", size().height},
                 {"scale", scale()}};
  session_->request(VLProtocolMethod::kThumbnailsFetch, std::move(params),
                    [self, index, item](const VLRemoteSession::Answer& answer) {
                      std::optional<VLData> data;
                      std::string format;
                      VLErrorRef reported;
                      VLErrorRef error = answer.decode([&](const VLRemoteJSONReader& result) {
                        reported = self->session_->codec().decodeOptionalError(result);
                        if (auto field = result.optionalField("data")) {
                          data = VLRemoteCodec::decodeData(*field);
                          format = result.field("format").string();
                        }
                      });
                      if (error) {
                        data.reset();
                        format.clear();
                      }
                      self->deliverThumbnail(item, data, format, error ? error : reported);
                      self->fetch(index + 1);
                    });
}
