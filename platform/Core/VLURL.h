// VLURL: a file URL: an absolute path and whether it names a directory. An immutable value.
#pragma once

#include <string>

class VLURL {
 public:
  // Makes the empty URL (no path); isEmpty() is true.
  VLURL() = default;
  // Makes a file URL for `path` (made absolute against the current directory if relative).
  // Throws VLException when a relative path meets a working directory that is gone.
  static VLURL fileURLWithPath(const std::string& path, bool isDirectory);

  bool isEmpty() const { return path_.empty(); }
  // Returns the file-system path, without a trailing slash (except for "/").
  const std::string& path() const { return path_; }
  bool hasDirectoryPath() const { return isDirectory_; }
  // Returns "file://" and the percent-encoded path, with a trailing "/" for directories.
  std::string absoluteString() const;
  std::string lastPathComponent() const;
  // Returns the extension of the last component without its dot, or "".
  std::string pathExtension() const;

  VLURL URLByAppendingPathComponent(const std::string& component, bool isDirectory) const;
  // Returns this URL with "." and `extension` appended to its last component.
  VLURL URLByAppendingPathExtension(const std::string& extension) const;
  VLURL URLByDeletingLastPathComponent() const;

  // The description of a URL is its absolute string.
  std::string description() const { return absoluteString(); }

  bool operator==(const VLURL& other) const { return path_ == other.path_ && isDirectory_ == other.isDirectory_; }
  bool operator<(const VLURL& other) const {
    return path_ != other.path_ ? path_ < other.path_ : isDirectory_ < other.isDirectory_;
  }

 private:
  std::string path_;
  bool isDirectory_ = false;
};

// Returns a short printable form of `url` for comments and marks: "…/<parent>/<name>".
std::string vl_shortDescription(const VLURL& url);
