// Feeds arbitrary bytes to the WebDAV bridge's multistatus reader, as a server (or whatever
// answers in its place) could send them: it must answer entries or an error, never crash or hang.
#include <cstddef>
#include <cstdint>
#include <string>

#include "vlprovider-webdav/VLWebDAVMultistatus.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string body(reinterpret_cast<const char*>(data), size);
  VLErrorRef error;
  VLWebDAVMultistatus::parse(body, error);
  VLWebDAVMultistatus::propstatStatuses(body, error);
  VLWebDAVMultistatus::parseDate(body);
  return 0;
}
