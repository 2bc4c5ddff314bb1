#include "VLWebDAVClient.h"

#include <curl/curl.h>

#include <cctype>
#include <cerrno>
#include <mutex>

#include "ProviderKit/VLStoreErrors.h"
#include "Vaultline/VLConstants.h"

namespace {

// libcurl's global state is set up once per process, before the first handle.
void curlGlobalInitOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

size_t appendBody(char* data, size_t size, size_t count, void* user) {
  auto* body = static_cast<std::string*>(user);
  // A listing this big is no listing: stop rather than fill memory.
  if (body->size() + size * count > (size_t(64) << 20)) return 0;
  body->append(data, size * count);
  return size * count;
}

size_t keepHeader(char* data, size_t size, size_t count, void* user) {
  auto* headers = static_cast<std::map<std::string, std::string>*>(user);
  std::string line(data, size * count);
  auto colon = line.find(':');
  if (colon != std::string::npos) {
    std::string name = line.substr(0, colon), value = line.substr(colon + 1);
    for (auto& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    while (!value.empty() && std::isspace(static_cast<unsigned char>(value.front()))) value.erase(0, 1);
    while (!value.empty() && std::isspace(static_cast<unsigned char>(value.back()))) value.pop_back();
    (*headers)[name] = value;
  }
  return size * count;
}

std::string encodeSegment(const std::string& segment) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : segment) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%', out += hex[c >> 4], out += hex[c & 15];
    }
  }
  return out;
}

}  // namespace

VLWebDAVClient::VLWebDAVClient(std::string baseURL, std::string credentials, std::chrono::milliseconds timeout)
    : baseURL_(std::move(baseURL)), credentials_(std::move(credentials)), timeout_(timeout) {
  if (baseURL_.empty() || baseURL_.back() != '/') baseURL_ += '/';
  auto scheme = baseURL_.find("://");
  auto slash = baseURL_.find('/', scheme == std::string::npos ? 0 : scheme + 3);
  basePath_ = slash == std::string::npos ? "/" : baseURL_.substr(slash);
  curlGlobalInitOnce();
}

std::string VLWebDAVClient::urlOf(const std::string& path) const {
  std::string url = baseURL_;
  size_t start = 0;
  while (start < path.size()) {
    size_t end = path.find('/', start);
    if (end == std::string::npos) end = path.size();
    if (end > start) {
      if (url.back() != '/') url += '/';
      url += encodeSegment(path.substr(start, end - start));
    }
    start = end + 1;
  }
  if (!path.empty() && path.back() == '/' && url.back() != '/') url += '/';
  return url;
}

std::optional<std::string> VLWebDAVClient::relativePath(const std::string& href) const {
  std::string path = href;
  if (auto scheme = path.find("://"); scheme != std::string::npos) {
    auto slash = path.find('/', scheme + 3);
    path = slash == std::string::npos ? "/" : path.substr(slash);
  }
  path = decodePath(path);
  std::string base = decodePath(basePath_);
  if (path.size() + 1 == base.size() && base.compare(0, path.size(), path) == 0) return std::string();
  if (path.compare(0, base.size(), base) != 0) return std::nullopt;
  path = path.substr(base.size());
  while (!path.empty() && path.back() == '/') path.pop_back();
  return path;
}

std::string VLWebDAVClient::decodePath(const std::string& encoded) {
  std::string out;
  for (size_t i = 0; i < encoded.size(); ++i) {
    if (encoded[i] == '%' && i + 2 < encoded.size() && std::isxdigit(static_cast<unsigned char>(encoded[i + 1])) &&
        std::isxdigit(static_cast<unsigned char>(encoded[i + 2]))) {
      out += static_cast<char>(std::stoi(encoded.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      out += encoded[i];
    }
  }
  return out;
}

VLErrorRef VLWebDAVClient::errorForStatus(long status, const std::string& method, const std::string& url) {
  std::string what = method + " " + url;
  if (status == 401)
    return VLStoreErrors::posix(EACCES, "The WebDAV server refused the credentials (401 Unauthorized) for " + what + ".");
  if (status == 507)
    return VLStoreErrors::posix(ENOSPC, "The WebDAV server has no room left (507 Insufficient Storage) for " + what + ".");
  if (status >= 500)
    return VLStoreErrors::posix(EIO, "The WebDAV server failed (" + std::to_string(status) + ") on " + what + ".");
  return nullptr;
}

VLWebDAVClient::Response VLWebDAVClient::request(const std::string& method, const std::string& path,
                                                 const std::map<std::string, std::string>& headers,
                                                 const std::string& body) const {
  Response response;
  std::string url = urlOf(path);
  CURL* curl = curl_easy_init();
  if (!curl) {
    response.error = VLStoreErrors::posix(ENOMEM, "libcurl could not make a handle.");
    return response;
  }
  curl_slist* list = nullptr;
  for (const auto& [name, value] : headers) list = curl_slist_append(list, (name + ": " + value).c_str());
  list = curl_slist_append(list, "Expect:");  // no 100-continue round trip on PUT
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);  // time-outs without SIGALRM: many threads
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(std::min<long>(timeout_.count(), 5000)));
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(timeout_.count()));
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, appendBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response.body);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, keepHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &response.headers);
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  if (method == "HEAD") curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
  if (!body.empty() || method == "PUT" || method == "PROPFIND" || method == "PROPPATCH") {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  }
  if (!credentials_.empty()) {
    curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(curl, CURLOPT_USERPWD, credentials_.c_str());
  }
  CURLcode code = curl_easy_perform(curl);
  if (code == CURLE_OK) {
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.status);
    response.error = errorForStatus(response.status, method, url);
  } else if (code == CURLE_OPERATION_TIMEDOUT) {
    response.error = VLStoreErrors::posix(
        ETIMEDOUT, "The WebDAV server did not answer " + method + " " + url + " within " +
                       std::to_string(timeout_.count()) + " ms.");
  } else {
    response.error = VLError::makeWithDescription(
        KsVaultlineErrorDomain, VLVaultlineErrorServerUnreachable,
        "The WebDAV server at " + baseURL_ + " cannot be reached (" + method + " " + url + "): " +
            curl_easy_strerror(code) + ".");
  }
  curl_slist_free_all(list);
  curl_easy_cleanup(curl);
  return response;
}
