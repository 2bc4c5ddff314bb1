// VLFileWrapper: a file, or a directory of files, held in memory and written to disk as one
// document; a package (such as rich text with attachments) is a directory wrapper.
//
// Immutable once made and safe to share between threads. Made by the two factories.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "Core/VLData.h"
#include "Core/VLError.h"
#include "Core/VLURL.h"

class VLFileWrapper {
 public:
  using Children = std::map<std::string, std::shared_ptr<const VLFileWrapper>>;

  // Makes a wrapper of a plain file holding `contents`.
  static std::shared_ptr<const VLFileWrapper> makeRegularFile(VLData contents);
  // Makes a wrapper of a directory holding `children` under their names. Throws VLException
  // for a missing child or a name that cannot be a directory entry ("", ".", "..", or one
  // containing "/").
  static std::shared_ptr<const VLFileWrapper> makeDirectory(Children children);

  bool isDirectory() const { return directory_; }
  // The file's contents (empty for a directory).
  const VLData& regularFileContents() const { return contents_; }
  // The directory's children (empty for a file).
  const Children& fileWrappers() const { return children_; }

  // Writes the wrapper at `url`: a directory with its children, or a file. There are no
  // write options and no earlier version to update: whatever stands at `url` is replaced.
  // Returns false, with a POSIX-domain error naming the path, when writing fails.
  bool writeToURL(const VLURL& url, VLErrorRef* error = nullptr) const;

 private:
  VLFileWrapper(bool directory, VLData contents, Children children)
      : directory_(directory), contents_(std::move(contents)), children_(std::move(children)) {}

  const bool directory_;
  const VLData contents_;
  const Children children_;
};
