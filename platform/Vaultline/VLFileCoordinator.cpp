#include "Vaultline/VLFileCoordinator.h"

#include "Vaultline/VLPlatform.h"

bool VLFileCoordinator::coordinateReadingItemAtURL(const VLURL& url, VLErrorRef* error,
                                                   const std::function<void(const VLURL&)>& reader) {
  return VLPlatform::current()->coordinateReading(url, error, reader);
}
