// VLWebDAVClient: one WebDAV server's requests over libcurl. Every request has a connect and a
// total time-out, so a server that stops answering costs at most the time-out, never a hang.
// Thread-safe: each request uses a handle of its own.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "Core/VLError.h"

class VLWebDAVClient {
 public:
  struct Response {
    long status = 0;        // 0: no answer at all (see error)
    std::string body;
    std::map<std::string, std::string> headers;  // names lower-case
    VLErrorRef error;       // the transfer failed, or the status is one the caller cannot act on
  };

  // `baseURL` names the collection that is the root of the storage ("http://host:port/dav/");
  // `credentials` is "user:password" for basic authentication, or empty.
  VLWebDAVClient(std::string baseURL, std::string credentials,
                 std::chrono::milliseconds timeout = std::chrono::seconds(10));

  // Sends `method` for `path` (below the base URL, "/" separated, not encoded) and returns the
  // answer. A transfer failure, 401 and 507 are turned into `error` here, in words that name
  // the server; other statuses are for the caller to judge.
  Response request(const std::string& method, const std::string& path,
                   const std::map<std::string, std::string>& headers = {}, const std::string& body = "") const;

  // The absolute URL of `path`, each segment percent-encoded (what a Destination header needs).
  std::string urlOf(const std::string& path) const;
  const std::string& baseURL() const { return baseURL_; }

  // The error a status stands for when it is a failure no caller can act on; else none.
  static VLErrorRef errorForStatus(long status, const std::string& method, const std::string& url);
  // The path below the base URL that an href of a multistatus answer names (an absolute URL or
  // path, percent-encoded), without a trailing "/"; "" for the base itself; none for an href
  // outside the base.
  std::optional<std::string> relativePath(const std::string& href) const;
  // Decodes a percent-encoded path as servers send it in hrefs.
  static std::string decodePath(const std::string& encoded);

 private:
  std::string baseURL_;      // always ends in "/"
  std::string basePath_;     // its path part, e.g. "/dav/"
  std::string credentials_;
  std::chrono::milliseconds timeout_;
};
