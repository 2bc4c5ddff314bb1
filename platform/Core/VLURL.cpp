#include "Core/VLURL.h"

#include <filesystem>

#include "Core/VLException.h"

namespace {
std::string normalise(const std::string& path) {
  if (path.empty()) return path;
  std::filesystem::path p(path);
  if (p.is_relative()) {
    std::error_code code;
    std::filesystem::path directory = std::filesystem::current_path(code);
    if (code) {
      throw VLException("cannot make the relative path \"" + path +
                        "\" absolute: the working directory is unavailable (" + code.message() + ")");
    }
    p = directory / p;
  }
  std::string out = p.lexically_normal().string();
  while (out.size() > 1 && out.back() == '/') out.pop_back();
  return out;
}
}  // namespace

VLURL VLURL::fileURLWithPath(const std::string& path, bool isDirectory) {
  VLURL url;
  url.path_ = normalise(path);
  url.isDirectory_ = isDirectory;
  return url;
}

std::string VLURL::absoluteString() const {
  static const char* hex = "0123456789ABCDEF";
  std::string out = "file://";
  for (unsigned char c : path_) {
    bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                 std::string("/-._~!$&'()*+,;=:@").find(static_cast<char>(c)) != std::string::npos;
    if (plain) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  if (isDirectory_ && path_ != "/") out += '/';
  return out;
}

std::string VLURL::lastPathComponent() const {
  auto slash = path_.rfind('/');
  if (slash == std::string::npos || path_ == "/") return path_;
  return path_.substr(slash + 1);
}

std::string VLURL::pathExtension() const {
  std::string last = lastPathComponent();
  auto dot = last.rfind('.');
  return (dot == std::string::npos || dot == 0) ? "" : last.substr(dot + 1);
}

VLURL VLURL::URLByAppendingPathComponent(const std::string& component, bool isDirectory) const {
  return fileURLWithPath((path_ == "/" ? "" : path_) + "/" + component, isDirectory);
}

VLURL VLURL::URLByAppendingPathExtension(const std::string& extension) const {
  VLURL url = *this;
  url.path_ += "." + extension;
  return url;
}

VLURL VLURL::URLByDeletingLastPathComponent() const {
  auto slash = path_.rfind('/');
  if (slash == std::string::npos || path_ == "/") return *this;
  return fileURLWithPath(slash == 0 ? "/" : path_.substr(0, slash), true);
}

std::string vl_shortDescription(const VLURL& url) {
  std::string parent = url.URLByDeletingLastPathComponent().lastPathComponent();
  std::string name = url.lastPathComponent() + (url.hasDirectoryPath() ? "/" : "");
  return parent.empty() || parent == "/" ? name : "…/" + parent + "/" + name;
}
