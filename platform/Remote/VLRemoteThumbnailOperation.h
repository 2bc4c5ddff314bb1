// VLRemoteThumbnailOperation: fetches thumbnails from a provider in its own process, one
// "thumbnails.fetch" request per item, in item order; each answer (image data and format, an
// error, or neither) is reported to the per-thumbnail callback on a background thread, and
// the operation finishes after the last. Asynchronous; runs when added to an operation queue.
#pragma once

#include <memory>

#include "Remote/VLRemoteSession.h"
#include "Vaultline/VLThumbnailFetchOperation.h"

class VLRemoteThumbnailOperation : public VLThumbnailFetchOperation {
 public:
  static std::shared_ptr<VLRemoteThumbnailOperation> make(std::vector<VLItemRef> items, VLSize size, double scale,
                                                          std::shared_ptr<VLRemoteSession> session);

 protected:
  void main() override { fetch(0); }
  bool isAsynchronous() const override { return true; }

 private:
  VLRemoteThumbnailOperation(std::vector<VLItemRef> items, VLSize size, double scale,
                             std::shared_ptr<VLRemoteSession> session)
      : VLThumbnailFetchOperation(std::move(items), size, scale), session_(std::move(session)) {}
  // Fetches the thumbnail of item `index`, then the next; finishes after the last.
  void fetch(size_t index);

  const std::shared_ptr<VLRemoteSession> session_;
};
