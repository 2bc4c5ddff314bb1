// VLFileCoordinator: coordinated reading: the reader runs once the item's content is
// available at the URL it is handed (a placeholder is materialised first by the platform).
#pragma once

#include <functional>

#include "Core/VLError.h"
#include "Core/VLURL.h"

class VLFileCoordinator {
 public:
  // Runs `reader` synchronously with the URL to read. Returns false, with an error, when the
  // content could not be made available; the reader is then not called.
  bool coordinateReadingItemAtURL(const VLURL& url, VLErrorRef* error, const std::function<void(const VLURL&)>& reader);
};
