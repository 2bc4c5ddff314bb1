#include "Vaultline/VLCopyOperation.h"

#include "Core/VLException.h"
#include "Vaultline/VLPlatform.h"

namespace {
void require(VLPlatformCapability capability, const char* name) {
  if (!VLPlatform::current()->offers(capability)) {
    throw VLException(std::string("VLCopyOperation does not respond to ") + name + " on this platform revision");
  }
}
}  // namespace

std::shared_ptr<VLCopyOperation> VLCopyOperation::makeWithURLs(std::vector<VLURL> urls, VLItemRef destinationFolder) {
  require(VLPlatformCapability::CopyWithURLs, "initWithURLs:destinationFolder:");
  return std::shared_ptr<VLCopyOperation>(new VLCopyOperation(std::move(urls), std::move(destinationFolder)));
}

std::shared_ptr<VLCopyOperation> VLCopyOperation::makeWithSourceURLs(std::vector<VLURL> urls,
                                                                     VLItemRef destinationFolder) {
  require(VLPlatformCapability::CopyWithSourceURLs, "initWithSourceURLs:destinationFolder:");
  return std::shared_ptr<VLCopyOperation>(new VLCopyOperation(std::move(urls), std::move(destinationFolder)));
}

std::shared_ptr<VLCopyOperation> VLCopyOperation::makeWithCompatiblityURLs(std::vector<VLURL> urls,
                                                                           VLItemRef destinationFolder) {
  if (VLPlatform::current()->offers(VLPlatformCapability::CopyWithURLs)) {
    return makeWithURLs(std::move(urls), std::move(destinationFolder));
  }
  return makeWithSourceURLs(std::move(urls), std::move(destinationFolder));
}

VLCopyOperation::TransferResults VLCopyOperation::transferResults() const {
  std::lock_guard lock(mutex_);
  return transferResults_;
}

VLCopyOperation::ErrorsByItem VLCopyOperation::errorsByItem() const {
  std::lock_guard lock(mutex_);
  return errorsByItem_;
}

void VLCopyOperation::setResults(TransferResults results, ErrorsByItem errors) {
  std::lock_guard lock(mutex_);
  transferResults_ = std::move(results);
  errorsByItem_ = std::move(errors);
}

std::string VLCopyOperation::argumentsDescription() const {
  std::string sources;
  for (const auto& url : urls_) sources += (sources.empty() ? "" : ", ") + vl_shortDescription(url);
  return "urls: [" + sources + "], destinationFolder: " + describeItems({destinationFolder_});
}
