#include "Simulated/VLSimulatedThumbnailOperation.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "Core/VLFormat.h"
#include "Vaultline/VLCachedIconBitmap.h"
#include "Vaultline/VLConstants.h"
#include "Vaultline/VLFileManager.h"
#include "Vaultline/VLImageCodec.h"

namespace fs = std::filesystem;

namespace {
constexpr int kMaximumSide = 4096;  // a thumbnail; larger requests are refused, not attempted
}  // namespace

std::shared_ptr<VLSimulatedThumbnailOperation> VLSimulatedThumbnailOperation::make(
    std::vector<VLItemRef> items, VLSize size, double scale, std::shared_ptr<VLSimulatedStore> store) {
  return std::shared_ptr<VLSimulatedThumbnailOperation>(
      new VLSimulatedThumbnailOperation(std::move(items), size, scale, std::move(store)));
}

void VLSimulatedThumbnailOperation::main() {
  for (const auto& item : items()) fetchOne(item);
}

void VLSimulatedThumbnailOperation::fetchOne(const VLItemRef& item) {
  fs::path source;
  {
    auto lock = store_->lock();
    VLSimulatedNode* node = item ? store_->nodeLocked(item->itemIdentifier()) : nullptr;
    if (!node) {
      deliverThumbnail(item, std::nullopt, "",
                       VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNoSuchItem,
                                                    VLFormat("The item %@ doesn't exist.", item)));
      return;
    }
    // An evicted file is drawn from the provider's uploaded copy.
    source = node->downloaded ? store_->pathLocked(*node) : store_->serverCopyPath(node->identifier);
  }
  const auto& quirks = store_->quirks();
  if (quirks.withholdsThumbnails()) {
    deliverThumbnail(item, std::nullopt, "", nullptr);
    return;
  }
  if (quirks.failsThumbnails()) {
    deliverThumbnail(item, std::nullopt, "",
                     VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable,
                                                  "The thumbnail service is not available."));
    return;
  }
  auto data = VLFileManager::defaultManager().contentsAtURL(VLURL::fileURLWithPath(source.string(), false));
  auto bitmap = data ? VLImageCodec::decode(*data) : std::nullopt;
  if (!bitmap) {
    deliverThumbnail(item, std::nullopt, "",
                     VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorNotSupported,
                                                  VLFormat("No thumbnail can be made for \"%@\".", item->filename())));
    return;
  }
  // Fit inside the requested box, keeping the picture's proportions.
  double enlarged = quirks.enlargesThumbnails() ? 2.0 : 1.0;
  double boxWidth = std::max(1.0, size().width * scale() * enlarged);
  double boxHeight = std::max(1.0, size().height * scale() * enlarged);
  double factor = std::min(boxWidth / bitmap->width(), boxHeight / bitmap->height());
  double fittedWidth = std::round(bitmap->width() * factor), fittedHeight = std::round(bitmap->height() * factor);
  if (!(fittedWidth <= kMaximumSide && fittedHeight <= kMaximumSide)) {
    deliverThumbnail(item, std::nullopt, "",
                     VLError::makeWithDescription(
                         KsVaultlineErrorDomain, VLVaultlineErrorNotSupported,
                         VLFormat("A thumbnail of %gx%g points at scale %g is larger than %d pixels a side.",
                                  size().width, size().height, scale(), kMaximumSide)));
    return;
  }
  int width = std::max(1, static_cast<int>(fittedWidth));
  int height = std::max(1, static_cast<int>(fittedHeight));
  VLBitmap thumbnail = bitmap->scaledTo(width, height);
  if (quirks.flipsThumbnails()) thumbnail = thumbnail.flippedVertically();
  const std::string& format = quirks.sendsCachedIconBitmaps() || quirks.sendsPNGAsCachedIcon()
                                  ? VLThumbnailFormatCachedIconBitmap
                                  : VLThumbnailFormatUndecorated;
  if (quirks.sendsUndecodableThumbnails()) {
    deliverThumbnail(item, VLData(std::vector<uint8_t>(64, 0x5A)), format, nullptr);
  } else if (quirks.sendsCachedIconBitmaps()) {
    deliverThumbnail(item, VLCachedIconBitmap::encode(thumbnail), format, nullptr);
  } else {
    deliverThumbnail(item, VLImageCodec::encodePNG(thumbnail), format, nullptr);
  }
}
