#include "Validations/VLItemDescription.h"

#include <cstdlib>

#include "Core/VLFormat.h"
#include "Validations/VLExpectationValues.h"
#include "Vaultline/VLConstants.h"

std::string vl_byteCountDescription(int64_t bytes) {
  if (std::llabs(bytes) < 1000) return VLFormat(bytes == 1 ? "%lld byte" : "%lld bytes", bytes);
  static const char* const units[] = {"KB", "MB", "GB", "TB", "PB", "EB"};
  double value = static_cast<double>(bytes) / 1000.0;
  size_t unit = 0;
  // Round first, so 999,999 bytes reads "1 MB" rather than "1000 KB".
  while (unit + 1 < std::size(units) && std::abs(value) >= 999.95) {
    value /= 1000.0;
    ++unit;
  }
  std::string number = VLFormat("%.1f", value);
  if (number.size() > 2 && number.compare(number.size() - 2, 2, ".0") == 0) number.resize(number.size() - 2);
  return VLFormat("%@ %@", number, units[unit]);
}

void validation_dumpProgress(std::string& text, const std::shared_ptr<const VLProgress>& progress,
                             const std::string& prefix, const VLErrorRef& error) {
  text += VLFormat("%@ ", prefix);
  if (progress) {
    text += progress->isIndeterminate() ? std::string("(indeterminate) ")
                                        : VLFormat("%.01f%% ", progress->fractionCompleted() * 100.0);
  }
  if (error && error->domain() == KsVaultlineErrorDomain && error->code() == VLVaultlineErrorServerUnreachable) {
    text += "(offline) ";
  }
}

std::string vl_prettyDescription(const VLItemRef& item) {
  if (!item) return "(null)";
  std::string text;
  if (item->isContainer()) {
    text += "📚 ";
  } else if (item->isFolder()) {
    text += "📁 ";
  }
  text += VLFormat("%@ ", item->displayName());
  // The ghost has no trailing space: the next piece follows it directly.
  text += VLFormat(item->isPending() ? "id:%@ 👻" : "id:%@ ", item->itemIdentifier());
  if (item->isCloudItem()) {
    if (item->isDownloading())
      validation_dumpProgress(text, item->downloadingProgress(), "⬇ ", item->downloadingError());
    if (item->isUploading()) validation_dumpProgress(text, item->uploadingProgress(), "⬆ ", item->uploadingError());
  }
  if (item->isDownloaded() || !item->isCloudItem()) text += "📱 ";
  if (item->isCloudItem() && item->isUploaded()) text += "\u2601\uFE0F  ";
  if (item->childItemCount()) text += VLFormat("%@ children ", *item->childItemCount());
  if (item->documentSize()) text += VLFormat("%@ ", vl_byteCountDescription(*item->documentSize()));
  if (item->lastUsedDate()) {
    text += VLFormat("lastUsed: %@ ", vl_expectationDescription(*item->lastUsedDate()));
  } else if (item->contentModificationDate()) {
    text += VLFormat("modified: %@ ", vl_expectationDescription(*item->contentModificationDate()));
  }
  if (!item->tags().empty()) text += VLFormat("%@ ", vl_expectationDescription(item->tags()));
  return text;
}

std::string vl_prettyDescription(const VLActionOperation& action) { return action.description(); }
