#include "VLDirTrash.h"

#include <cctype>
#include <cerrno>
#include <ctime>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

VLDirTrash::VLDirTrash(std::string root) : root_(std::move(root)) {
  files_ = root_ + "/" + folderName() + "/files";
  info_ = root_ + "/" + folderName() + "/info";
}

std::string VLDirTrash::folderName() { return ".Trash-" + std::to_string(getuid()); }

bool VLDirTrash::prepare() const {
  for (const std::string& folder : {root_ + "/" + folderName(), files_, info_}) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return false;
  }
  return true;
}

std::optional<std::string> VLDirTrash::reserve(const std::string& relativePath) const {
  size_t slash = relativePath.rfind('/');
  std::string base = slash == std::string::npos ? relativePath : relativePath.substr(slash + 1);
  char date[32];
  std::time_t now = std::time(nullptr);
  struct tm local {};
  localtime_r(&now, &local);
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
  std::string text = "[Trash Info]\nPath=" + encodePath(relativePath) + "\nDeletionDate=" + date + "\n";
  for (int attempt = 1; attempt < 10000; ++attempt) {
    std::string name = attempt == 1 ? base : base + "." + std::to_string(attempt);
    struct stat existing {};
    if (lstat((files_ + "/" + name).c_str(), &existing) == 0) continue;
    int fd = open(infoPath(name).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
      if (errno == EEXIST) continue;
      return std::nullopt;
    }
    bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    if (!written) {
      unlink(infoPath(name).c_str());
      return std::nullopt;
    }
    return name;
  }
  return std::nullopt;
}

std::optional<std::string> VLDirTrash::originalPath(const std::string& trashName) const {
  std::ifstream in(infoPath(trashName));
  std::string line;
  bool inGroup = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty() && line.front() == '[') {
      inGroup = line == "[Trash Info]";
    } else if (inGroup && line.rfind("Path=", 0) == 0) {
      std::string path = decodePath(line.substr(5));
      // An absolute path names this top directory's items only when it lies below it.
      if (!path.empty() && path.front() == '/') {
        if (path.rfind(root_ + "/", 0) != 0) return std::nullopt;
        path = path.substr(root_.size() + 1);
      }
      return path;
    }
  }
  return std::nullopt;
}

void VLDirTrash::forget(const std::string& trashName) const { unlink(infoPath(trashName).c_str()); }

std::string VLDirTrash::encodePath(const std::string& path) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : path) {
    if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~' || c == '/') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

std::string VLDirTrash::decodePath(const std::string& text) {
  auto digit = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && digit(text[i + 1]) >= 0 && digit(text[i + 2]) >= 0) {
      out += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}
