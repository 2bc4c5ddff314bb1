#include "VLWebDAVMultistatus.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <pugixml.hpp>

#include "ProviderKit/VLStoreErrors.h"

const char* const VLWebDAVPropertyNamespace = "urn:vaultline-validations:webdav-bridge";

namespace {

constexpr int kMaxDepth = 32;  // a multistatus is six levels deep; anything far deeper is hostile

std::string localName(const char* name) {
  const char* colon = std::strrchr(name, ':');
  return colon ? colon + 1 : name;
}

// The namespace URI of an element, from the xmlns declarations on it and its ancestors.
std::string namespaceOf(pugi::xml_node node) {
  std::string name = node.name();
  auto colon = name.find(':');
  std::string attribute = colon == std::string::npos ? "xmlns" : "xmlns:" + name.substr(0, colon);
  for (auto at = node; at; at = at.parent()) {
    if (auto declared = at.attribute(attribute.c_str())) return declared.value();
  }
  return "";
}

pugi::xml_node child(pugi::xml_node node, const char* local) {
  for (auto each : node.children())
    if (localName(each.name()) == local) return each;
  return {};
}

int depthOf(pugi::xml_node root) {
  int deepest = 0;
  std::vector<std::pair<pugi::xml_node, int>> stack{{root, 0}};
  while (!stack.empty()) {
    auto [node, depth] = stack.back();
    stack.pop_back();
    deepest = std::max(deepest, depth);
    if (deepest > kMaxDepth) break;
    for (auto each : node.children()) stack.emplace_back(each, depth + 1);
  }
  return deepest;
}

bool okStatus(pugi::xml_node propstat) {
  std::string status = child(propstat, "status").text().get();
  return status.empty() || status.find(" 200") != std::string::npos;
}

std::string escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      default: out += c;
    }
  }
  return out;
}

// Parses `body` into `document` and answers its multistatus element, or sets `error`.
pugi::xml_node load(pugi::xml_document& document, const std::string& body, VLErrorRef& error) {
  error = nullptr;
  if (body.find("<!DOCTYPE") != std::string::npos || body.find("<!ENTITY") != std::string::npos) {
    error = VLStoreErrors::posix(EBADMSG, "The WebDAV server's multistatus declares a document type; refused.");
    return {};
  }
  auto parsed = document.load_buffer(body.data(), body.size(), pugi::parse_default & ~pugi::parse_doctype);
  if (!parsed) {
    error = VLStoreErrors::posix(EBADMSG, std::string("The WebDAV server's multistatus is not well-formed XML: ") +
                                              parsed.description() + " at byte " + std::to_string(parsed.offset) + ".");
    return {};
  }
  if (depthOf(document) > kMaxDepth) {
    error = VLStoreErrors::posix(EBADMSG, "The WebDAV server's multistatus nests deeper than " +
                                              std::to_string(kMaxDepth) + " levels; refused.");
    return {};
  }
  auto root = document.document_element();
  if (localName(root.name()) != "multistatus") {
    error = VLStoreErrors::posix(EBADMSG, std::string("The WebDAV server answered <") + root.name() +
                                              "> where a multistatus belongs.");
    return {};
  }
  return root;
}

}  // namespace

std::optional<VLDate> VLWebDAVMultistatus::parseDate(const std::string& text) {
  std::tm tm{};
  const char* end = strptime(text.c_str(), "%a, %d %b %Y %H:%M:%S", &tm);
  if (!end) end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &tm);
  if (!end) return std::nullopt;
  return VLDate(static_cast<double>(timegm(&tm)));
}

std::vector<VLWebDAVEntry> VLWebDAVMultistatus::parse(const std::string& body, VLErrorRef& error) {
  std::vector<VLWebDAVEntry> entries;
  error = nullptr;
  pugi::xml_document document;
  auto root = load(document, body, error);
  if (error) return entries;
  for (auto response : root.children()) {
    if (localName(response.name()) != "response") continue;
    VLWebDAVEntry entry;
    entry.href = child(response, "href").text().get();
    if (entry.href.empty()) continue;
    for (auto propstat : response.children()) {
      if (localName(propstat.name()) != "propstat" || !okStatus(propstat)) continue;
      for (auto prop : child(propstat, "prop").children()) {
        std::string name = localName(prop.name());
        std::string text = prop.text().get();
        if (namespaceOf(prop) == VLWebDAVPropertyNamespace) {
          if (name == "tags") entry.tags = text;
          if (name == "favoriteRank") entry.favoriteRank = text;
          if (name == "lastUsed") entry.lastUsed = text;
          continue;
        }
        if (name == "resourcetype") entry.isCollection = static_cast<bool>(child(prop, "collection"));
        if (name == "getcontentlength" && !text.empty()) entry.size = std::strtoll(text.c_str(), nullptr, 10);
        if (name == "getlastmodified") entry.modified = parseDate(text);
        if (name == "creationdate") entry.created = parseDate(text);
        if (name == "getetag") entry.etag = text;
      }
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::vector<long> VLWebDAVMultistatus::propstatStatuses(const std::string& body, VLErrorRef& error) {
  std::vector<long> statuses;
  pugi::xml_document document;
  auto root = load(document, body, error);
  if (error) return statuses;
  for (auto response : root.children()) {
    for (auto propstat : response.children()) {
      if (localName(propstat.name()) != "propstat") continue;
      std::string status = child(propstat, "status").text().get();
      auto space = status.find(' ');
      statuses.push_back(space == std::string::npos ? 0 : std::strtol(status.c_str() + space + 1, nullptr, 10));
    }
  }
  return statuses;
}

std::string VLWebDAVMultistatus::propfindBody() {
  return std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:propfind xmlns:D=\"DAV:\" xmlns:V=\"") +
         VLWebDAVPropertyNamespace +
         "\"><D:prop><D:resourcetype/><D:getcontentlength/><D:getlastmodified/><D:creationdate/>"
         "<D:getetag/><V:tags/><V:favoriteRank/><V:lastUsed/></D:prop></D:propfind>";
}

std::string VLWebDAVMultistatus::proppatchBody(
    const std::vector<std::pair<std::string, std::optional<std::string>>>& properties) {
  std::string set, remove;
  for (const auto& [name, value] : properties) {
    if (value)
      set += "<V:" + name + ">" + escaped(*value) + "</V:" + name + ">";
    else
      remove += "<V:" + name + "/>";
  }
  std::string body = std::string("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:propertyupdate xmlns:D=\"DAV:\" xmlns:V=\"") +
                     VLWebDAVPropertyNamespace + "\">";
  if (!set.empty()) body += "<D:set><D:prop>" + set + "</D:prop></D:set>";
  if (!remove.empty()) body += "<D:remove><D:prop>" + remove + "</D:prop></D:remove>";
  return body + "</D:propertyupdate>";
}
