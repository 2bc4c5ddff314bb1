// VLWebDAVMultistatus: reads a 207 Multi-Status answer to PROPFIND into one entry per resource.
// The document comes from the network, so it is judged before it is trusted: a document type
// declaration (the door to entity expansion), nesting deeper than any real answer, or a body
// that is not well-formed XML is refused with an error that says which.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Core/VLDate.h"
#include "Core/VLError.h"

// The namespace of the properties this bridge keeps on the server for the user's attributes.
extern const char* const VLWebDAVPropertyNamespace;

struct VLWebDAVEntry {
  std::string href;  // as the server sent it (percent-encoded)
  bool isCollection = false;
  std::optional<int64_t> size;
  std::optional<VLDate> modified;
  std::optional<VLDate> created;
  std::string etag;
  // This bridge's own properties, as text, when the server keeps them.
  std::optional<std::string> tags, favoriteRank, lastUsed;
};

class VLWebDAVMultistatus {
 public:
  // The entries of `body`, or an error naming what was wrong with it. Only properties in a
  // propstat whose status is 200 count.
  static std::vector<VLWebDAVEntry> parse(const std::string& body, VLErrorRef& error);
  // The status of each propstat of a PROPPATCH answer (200 where a property was kept).
  static std::vector<long> propstatStatuses(const std::string& body, VLErrorRef& error);
  // The PROPFIND body asking for what parse() reads.
  static std::string propfindBody();
  // A PROPPATCH body setting (value) or removing (none) each of this bridge's properties.
  static std::string proppatchBody(const std::vector<std::pair<std::string, std::optional<std::string>>>& properties);
  // HTTP dates ("Wed, 25 Nov 2026 16:30:39 GMT") and ISO 8601 ("2026-11-25T16:30:39Z").
  static std::optional<VLDate> parseDate(const std::string& text);
};
