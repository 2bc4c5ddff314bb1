// VLReportFile: where a file reporter's document goes: a file, or standard output for "-".
// The path is checked when the reporter is made, so that a run never ends without its
// report because of a typo in a path; the document is written once, at the end, to a
// temporary file beside the target that then replaces it, so that a write that fails (a
// full disk) leaves the earlier report whole.
#pragma once

#include <string>

class VLReportFile {
 public:
  // Checks that `path` can be written: "-", an existing regular file we may write, or a new
  // name in an existing folder we may write to. A folder, a FIFO, a device or a socket is
  // refused (a FIFO would hang the run at its end). Throws VLUsageError naming `option` and
  // the path otherwise. Creates nothing.
  VLReportFile(std::string path, std::string option);

  const std::string& path() const { return path_; }
  bool isStandardOutput() const { return path_ == "-"; }
  // Writes `document` as the whole content: to a new file beside the target, which then
  // replaces it. Throws VLException when any write, the close or the rename fails; the
  // target is then as it was.
  void write(const std::string& document) const;

  // Returns what the file at `path` is, whatever its spelling: "-" for standard output, the
  // device and inode of an existing file, or the canonical path of a new one. Two paths
  // with one identity are one file.
  static std::string identity(const std::string& path);

 private:
  std::string path_;
  std::string option_;
};
